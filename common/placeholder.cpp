namespace { [[maybe_unused]] const int placeholder = 0; }
