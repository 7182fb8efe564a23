#include "support/BenchSupport.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace weft::bench
{
double NowSeconds()
{
    static const double freq = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return static_cast<double>(f.QuadPart);
    }();
    LARGE_INTEGER t;
    QueryPerformanceCounter(&t);
    return static_cast<double>(t.QuadPart) / freq;
}

namespace
{
double Quantile(std::vector<double> v, double q)
{
    std::sort(v.begin(), v.end());
    return v[static_cast<size_t>(q * static_cast<double>(v.size() - 1) + 0.5)];
}
}  // namespace

Comparison Compare(const std::function<double(int)>& raw, const std::function<double(int)>& library, int ops,
                   int rounds)
{
    // One warm-up of each side, not counted.
    raw(std::max(ops / 10, 1));
    library(std::max(ops / 10, 1));
    std::vector<double> r, l, ratios;
    for (int i = 0; i < rounds; ++i)
    {
        // Alternate which side goes first so that neither always meets a warmer machine.
        double rawTime, libraryTime;
        if (i % 2 == 0)
        {
            rawTime = raw(ops);
            libraryTime = library(ops);
        }
        else
        {
            libraryTime = library(ops);
            rawTime = raw(ops);
        }
        r.push_back(rawTime / ops);
        l.push_back(libraryTime / ops);
        ratios.push_back(libraryTime / rawTime);
    }
    return {Quantile(r, 0.5), Quantile(l, 0.5), Quantile(ratios, 0.5), Quantile(ratios, 0.25), Quantile(ratios, 0.75)};
}

double Median(std::vector<double> values)
{
    return Quantile(std::move(values), 0.5);
}

void Report(const char* name, const Comparison& c, double goalRatio)
{
    std::printf("%-44s raw %9.3f us  library %9.3f us  ratio %.3f (quartiles %.3f-%.3f)", name, c.rawPerOp * 1e6,
                c.libraryPerOp * 1e6, c.ratio, c.ratioLow, c.ratioHigh);
    if (goalRatio > 0)
        std::printf("  goal <= %.2f: %s", goalRatio, c.ratio <= goalRatio ? "met" : "missed");
    std::printf("\n");
    std::fflush(stdout);
}
}  // namespace weft::bench
