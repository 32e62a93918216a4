// What a comparison comes to, for people and for programs.
#ifndef QRX_BENCH_COMPARISON_REPORT_H_
#define QRX_BENCH_COMPARISON_REPORT_H_

#include <string>

#include "bench/comparison.h"

namespace qrx::bench {

// The table on standard output.
void printReport(const Records& records);

// The same with every figure, as one JSON object.
std::string reportAsJson(const Plan& plan, const Records& records);

}  // namespace qrx::bench

#endif  // QRX_BENCH_COMPARISON_REPORT_H_
