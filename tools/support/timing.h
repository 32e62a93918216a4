// Clocks of a measurement, and what a run of them comes to.
#ifndef QRX_TOOLS_SUPPORT_TIMING_H_
#define QRX_TOOLS_SUPPORT_TIMING_H_

#include <vector>

namespace qrx::tool {

// Milliseconds of a piece of work. The processor time of the calling thread leaves out what other
// programs took from it; wall time is what a user waits.
struct Timing {
  double cpu = 0;
  double wall = 0;
};

// Runs between construction and elapsed().
class Stopwatch {
 public:
  Stopwatch() : start_(now()) {}
  Timing elapsed() const;

 private:
  static Timing now();

  Timing start_;
};

struct Summary {
  double best = 0;
  double median = 0;
  double spread = 0;  // distance of the quartiles
};

// Of at least one value.
Summary summarise(std::vector<double> values);

}  // namespace qrx::tool

#endif  // QRX_TOOLS_SUPPORT_TIMING_H_
