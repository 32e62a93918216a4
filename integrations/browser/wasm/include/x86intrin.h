// The counter that the coder classes time their work with. Nobody asks for the times here.
#pragma once

inline unsigned long long __rdtsc() { return 0; }
