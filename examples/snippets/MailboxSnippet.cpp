// Mailbox: a bounded queue of fixed-size messages that any process may post to and get from by
// name. Here a second thread opens it by name, as another process would, and posts; the owner
// gets until its stop event is set.
#include "weftcore.h"

#include <cstdio>
#include <string>
#include <thread>

namespace
{
struct Order
{
    unsigned long number;
    char item[28];
};
}  // namespace

int main()
{
    const std::string name = "weft-snippet-orders-" + std::to_string(GetCurrentProcessId());
    MTMailbox box(8, sizeof(Order), name.c_str(), nullptr);  // creates, or joins an existing one
    if (box.GetStatus() != 0 && box.GetStatus() != 183)
        return 1;

    MTEvent done(true);
    std::thread poster([&] {
        MTMailbox sender(name.c_str());  // opens the existing mailbox; its shape comes with it
        for (unsigned long i = 1; i <= 3; ++i)
        {
            Order order = {i, "tea"};
            sender.Post(&order, 1000);   // blocks while all slots are taken
        }
        done.Set();
    });

    MTWaitableCollection alerts;
    alerts.AddObject(done);
    Order order = {};
    // 0: a message came; 1: the alert at index 0 of alerts; 258: time-out. The pending count
    // has priority, so every order is taken before the alert ends the loop.
    unsigned long result;
    while ((result = box.GetAlertable(&order, alerts, 2000)) == 0)
        std::printf("order %lu: %s\n", order.number, order.item);
    poster.join();
    std::printf("GetAlertable gave %lu\n", result);
    return result == 1 ? 0 : 1;
}
