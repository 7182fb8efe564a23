// How long the shell launcher's constructor blocks, measured from outside: at least 500 ms for
// every launch of a non-empty file, at most about 3.5 s whatever the launch does, and at once
// for an empty one. Figures, not assertions.
#include "support/BenchSupport.h"

#include "weftcore.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using weft::bench::Median;
using weft::bench::NowSeconds;

int main()
{
    char system[MAX_PATH + 1] = {};
    GetSystemDirectoryA(system, MAX_PATH);
    const std::pair<const char*, std::string> launches[] = {
        {"a program (hostname.exe)", std::string(system) + "\\hostname.exe"},
        {"a missing file", std::string(system) + "\\weft-missing.exe"},
        {"an address", "http://127.0.0.1:9/weft"},
        {"a blank file", " "},
    };
    std::printf("ShellExecuteThread constructor, ms over 5 launches (bounds: 500 to 3500; none for a blank file)\n");
    for (const auto& [what, file] : launches)
    {
        std::vector<double> ms;
        CString error;
        for (int i = 0; i < 5; ++i)
        {
            const double start = NowSeconds();
            ShellExecuteThread launch(file.c_str(), "");
            ms.push_back((NowSeconds() - start) * 1000);
            error = launch.GetErrorMsg();
        }
        const double shortest = *std::min_element(ms.begin(), ms.end()), longest = *std::max_element(ms.begin(), ms.end());
        std::printf("%-28s min %7.1f  median %7.1f  max %7.1f  %s\n", what, shortest, Median(ms), longest,
                    error.IsEmpty() ? "launched" : error.GetString());
        // The bounds as figures: the shortest of a real launch, and the longest of any.
        const std::string name = std::string("ShellExecuteThread constructor, ") + what;
        if (file != " ")
            weft::bench::Figure({.name = name + ", shortest", .value = shortest, .unit = "ms", .goal = 500,
                                 .better = weft::bench::Better::Higher});
        weft::bench::Figure({.name = name + ", longest", .value = longest, .unit = "ms", .goal = 3500});
    }
    return 0;
}
