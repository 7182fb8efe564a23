#include "support/BenchSupport.h"

#include <algorithm>
#include <cstdio>
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
double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}
}  // namespace

Comparison Compare(const std::function<double(int)>& raw, const std::function<double(int)>& library, int ops,
                   int rounds)
{
    // One warm-up of each side, not counted.
    raw(std::max(ops / 10, 1));
    library(std::max(ops / 10, 1));
    std::vector<double> r, l;
    for (int i = 0; i < rounds; ++i)
    {
        // Alternate which side goes first so that neither always meets a warmer machine.
        if (i % 2 == 0)
        {
            r.push_back(raw(ops) / ops);
            l.push_back(library(ops) / ops);
        }
        else
        {
            l.push_back(library(ops) / ops);
            r.push_back(raw(ops) / ops);
        }
    }
    return {Median(r), Median(l)};
}

void Report(const char* name, const Comparison& c, double goalRatio)
{
    std::printf("%-44s raw %10.3f us  library %10.3f us  ratio %.3f  (goal <= %.2f: %s)\n", name, c.rawPerOp * 1e6,
                c.libraryPerOp * 1e6, c.Ratio(), goalRatio, c.Ratio() <= goalRatio ? "met" : "missed");
    std::fflush(stdout);
}
}  // namespace weft::bench
