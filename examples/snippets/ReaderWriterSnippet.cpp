// Readers-writer lock: readers share the table, a writer has it alone. Each access lasts for
// its scope.
#include "weftcore.h"

#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

int main()
{
    MultiReaderWriter lock;
    std::map<std::string, int> prices = {{"tea", 3}};

    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            for (int n = 0; n < 100; ++n)
            {
                MultiReaderWriterAccess read(lock, true);  // shared with the other readers
                if (prices.at("tea") < 3)
                    std::printf("a torn update was seen\n");
            }
        });
    for (int n = 0; n < 20; ++n)
    {
        MultiReaderWriterAccess write(lock, false);  // alone: no reader is inside
        prices["tea"] = 3 + n;
        prices["coffee"] = 4 + n;
    }
    for (auto& reader : readers)
        reader.join();
    MultiReaderWriterAccess read(lock, true);
    std::printf("tea %d, coffee %d\n", prices["tea"], prices["coffee"]);
    return 0;
}
