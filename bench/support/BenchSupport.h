// Timing for benchmarks that compare the library with the raw calls in the same run.
// Each round measures both sides back to back, in alternating order, and gives one ratio; the
// median of those paired ratios is the result. Under Wine the server's pace shifts between
// modes several times a minute, so only sides measured side by side compare fairly.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace weft::bench
{
double NowSeconds();

struct Comparison
{
    double rawPerOp;      // seconds per operation, median of rounds
    double libraryPerOp;  // seconds per operation, median of rounds
    double ratio;         // median of the per-round ratios library / raw
    double ratioLow;      // lower and upper quartile of the per-round ratios
    double ratioHigh;
    double Ratio() const { return ratio; }
};

// Runs raw(n) and library(n) alternately for `rounds` rounds of `ops` operations each.
// Each callable performs n operations and returns the seconds it took (so that it may exclude
// set-up and tear-down).
Comparison Compare(const std::function<double(int)>& raw, const std::function<double(int)>& library, int ops,
                   int rounds);

// The median of the values.
double Median(std::vector<double> values);

// Prints one result line: name, both times per operation and the ratio against the goal; a goal
// of 0 prints the ratio alone, for a peer that the design does not aim to match.
void Report(const char* name, const Comparison& c, double goalRatio);
}  // namespace weft::bench
