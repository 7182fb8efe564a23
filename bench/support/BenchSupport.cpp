#include "support/BenchSupport.h"

#include <algorithm>
#include <cmath>
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
// The program's name without folder and ".exe": the bench column of the report.
const std::string& BenchName()
{
    static const std::string name = [] {
        char path[MAX_PATH + 1] = {};
        GetModuleFileNameA(nullptr, path, MAX_PATH);
        std::string s = path;
        s = s.substr(s.find_last_of("\\/") + 1);
        return s.size() > 4 && s.compare(s.size() - 4, 4, ".exe") == 0 ? s.substr(0, s.size() - 4) : s;
    }();
    return name;
}

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

std::string Count(long long n)
{
    const std::string digits = std::to_string(n < 0 ? -n : n);
    std::string text = n < 0 ? "-" : "";
    for (size_t i = 0; i < digits.size(); ++i)
    {
        if (i > 0 && (digits.size() - i) % 3 == 0)
            text += ',';
        text += digits[i];
    }
    return text;
}

void Figure(const FigureLine& f)
{
    char value[32] = "nan", ratio[32] = "", goal[32] = "";
    if (!std::isnan(f.value))
        std::snprintf(value, sizeof value, "%.6g", f.value);
    if (!std::isnan(f.ratio))
        std::snprintf(ratio, sizeof ratio, "%.4g", f.ratio);
    if (f.goal > 0)
        std::snprintf(goal, sizeof goal, "%g", f.goal);
    std::printf("@figure\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n", BenchName().c_str(), f.name.c_str(), value, f.unit,
                ratio, goal, f.better == Better::Lower ? "<=" : ">=", f.against);
    std::fflush(stdout);
}

void CurvePoint(const Curve& curve, const char* series, double x, double y)
{
    std::printf("@curve\t%s\t%s\t%s\t%s\t%s\t%.6g\t%.6g\n", BenchName().c_str(), curve.name, curve.xLabel,
                curve.yLabel, series, x, y);
    std::fflush(stdout);
}

void Report(const char* name, const Comparison& c, double goalRatio, const char* against)
{
    std::printf("%-44s raw %9.3f us  library %9.3f us  ratio %.3f (quartiles %.3f-%.3f)", name, c.rawPerOp * 1e6,
                c.libraryPerOp * 1e6, c.ratio, c.ratioLow, c.ratioHigh);
    if (goalRatio > 0)
        std::printf("  goal <= %.2f: %s", goalRatio, c.ratio <= goalRatio ? "met" : "missed");
    std::printf("\n");
    Figure({.name = name, .value = c.libraryPerOp * 1e6, .unit = "us", .ratio = c.ratio, .against = against,
            .goal = goalRatio});
}
}  // namespace weft::bench
