#include "weftcore.h"

#include <gtest/gtest.h>

#include <utility>

TEST(InternetUtilsTest, AddressesAreToldFromLocalPaths)
{
    const std::pair<const char*, bool> cases[] = {
        {"http://example.com/x.html", true}, {"https://example.com", true}, {"ftp://host/file", true},
        {"mailto:someone@example.com", true}, {"file:///C:/x.txt", true}, {"www.example.com", true},
        {"WWW.example.com/page", true}, {"ftp.example.com", true}, {" http://x", true}, {"C:\\dir\\file.txt", false},
        {"c:file.txt", false}, {"\\\\server\\share\\x", false}, {"relative\\x.txt", false}, {"x.txt", false},
        {"", false}, {nullptr, false}, {"1http://x", false}, {"wwwx.example", false},
    };
    for (const auto& [path, internet] : cases)
        EXPECT_EQ(internet, InternetUtils::IsInternetFile(path)) << (path ? path : "(null)");
}
