#include "weftcore.h"

#include <gtest/gtest.h>

TEST(InternetUtilsTest, AddressesAreToldFromLocalPaths)
{
    struct Case
    {
        const char* path;
        bool internet;
    } cases[] = {
        {"http://example.com/x.html", true}, {"https://example.com", true}, {"ftp://host/file", true},
        {"mailto:someone@example.com", true}, {"file:///C:/x.txt", true},   {"www.example.com", true},
        {"WWW.example.com/page", true},       {"ftp.example.com", true},    {" http://x", true},
        {"C:\\dir\\file.txt", false},         {"c:file.txt", false},        {"\\\\server\\share\\x", false},
        {"relative\\x.txt", false},           {"x.txt", false},             {"", false},
        {nullptr, false},                     {"1http://x", false},         {"wwwx.example", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.internet, InternetUtils::IsInternetFile(c.path)) << (c.path ? c.path : "(null)");
}
