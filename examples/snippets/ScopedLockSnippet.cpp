// Scoped locks: a critical section for the threads of this process, a named mutex for several
// processes, and Lockable for a class that carries its own lock.
#include "weftcore.h"

#include <cstdio>
#include <thread>

namespace
{
class Counter : public Lockable
{
public:
    void Add()
    {
        Lock();  // recursive for the holding thread
        ++m_nCount;
        Unlock();
    }
    long m_nCount = 0;
};
}  // namespace

int main()
{
    MTCritSec section;
    long total = 0;
    auto add = [&] {
        for (int i = 0; i < 10000; ++i)
        {
            MTAutoLock hold(&section);  // entered here, left at the end of the scope
            ++total;
        }
    };
    std::thread a(add), b(add);
    a.join();
    b.join();

    // A named mutex guards what several processes share; each opens it by the same name.
    MTMutex fileGuard(false, "weft-snippet-settings-guard");
    {
        MTAutoLock hold(&fileGuard);  // waits without limit; released at the end of the scope
        std::printf("inside the named mutex (create status %lu)\n", fileGuard.GetStatus());
    }

    Counter counter;
    counter.Add();
    std::printf("total %ld, counter %ld\n", total, counter.m_nCount);
    return total == 20000 ? 0 : 1;
}
