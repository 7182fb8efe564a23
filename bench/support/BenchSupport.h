// Timing for benchmarks that compare the library with the raw calls in the same run.
// Each side is measured in several alternating rounds; the median of the rounds is reported,
// so that a noisy moment hurts both sides alike.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace weft::bench
{
double NowSeconds();

struct Comparison
{
    double rawPerOp;      // seconds per operation, median of rounds
    double libraryPerOp;  // seconds per operation, median of rounds
    double Ratio() const { return libraryPerOp / rawPerOp; }
};

// Runs raw(n) and library(n) alternately for `rounds` rounds of `ops` operations each.
// Each callable performs n operations and returns the seconds it took (so that it may exclude
// set-up and tear-down).
Comparison Compare(const std::function<double(int)>& raw, const std::function<double(int)>& library, int ops,
                   int rounds);

// Prints one result line: name, both times per operation and the ratio against the goal.
void Report(const char* name, const Comparison& c, double goalRatio);
}  // namespace weft::bench
