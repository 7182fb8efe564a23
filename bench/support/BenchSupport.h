// Timing for benchmarks that compare the library with the raw calls in the same run.
// Each round measures both sides back to back, in alternating order, and gives one ratio; the
// median of those paired ratios is the result. Under Wine the server's pace shifts between
// modes several times a minute, so only sides measured side by side compare fairly.
#pragma once

#include <windows.h>

#include <functional>
#include <limits>
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

// The count with thousands separated by commas: "100,000".
std::string Count(long long n);

// Which way a goal points: the figure must stay at or under it, or reach it.
enum class Better
{
    Lower,
    Higher
};

constexpr double NoRatio = std::numeric_limits<double>::quiet_NaN();

// One figure for the report. `ratio` is the value over the same figure of `against` (the raw
// calls, a peer, a smaller tree); NoRatio for none. A goal of 0 is none; the goal applies to the
// ratio, or to the value when there is no ratio. A value of NaN (NoRatio) is one that could not be
// measured: the report shows it as such.
struct FigureLine
{
    std::string name;
    double value;
    const char* unit;
    double ratio = NoRatio;
    const char* against = "";
    double goal = 0;
    Better better = Better::Lower;
};

// Prints the figure as one machine-readable line, beside the benchmark's own human-readable ones:
//   @figure TAB bench TAB name TAB value TAB unit TAB ratio TAB goal TAB <= or >= TAB against
// with the empty string for no ratio or no goal. bench/report/report.py reads these lines.
void Figure(const FigureLine& figure);

// The axes of a scaling curve: one line per series, y against x.
struct Curve
{
    const char* name;
    const char* xLabel;
    const char* yLabel;
};

// Prints one point of a series of the curve:
//   @curve TAB bench TAB curve TAB x label TAB y label TAB series TAB x TAB y
void CurvePoint(const Curve& curve, const char* series, double x, double y);

// Prints one result line: name, both times per operation and the ratio against the goal; a goal
// of 0 prints the ratio alone, for a peer that the design does not aim to match. Then the same as
// a figure: the library's time per operation and its ratio to `against`.
void Report(const char* name, const Comparison& c, double goalRatio, const char* against = "raw calls");
}  // namespace weft::bench
