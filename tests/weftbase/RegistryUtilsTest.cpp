#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

namespace
{
// A private key below HKEY_CURRENT_USER\Software, removed with everything below it even when a
// test fails.
class RegistryUtilsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_key = "Software\\" + weft::test::UniqueName("reg");
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_CURRENT_USER, m_key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                                 nullptr, &m_hKey, nullptr));
    }
    void TearDown() override
    {
        if (m_hKey)
            RegCloseKey(m_hKey);
        RegDeleteTreeA(HKEY_CURRENT_USER, m_key.c_str());
    }

    void Set(const char* sub, const char* name, DWORD type, const void* data, DWORD size)
    {
        ASSERT_EQ(ERROR_SUCCESS, RegSetKeyValueA(m_hKey, sub, name, type, data, size));  // makes the sub-key
    }
    void SetText(const char* sub, const char* name, const char* text)
    {
        Set(sub, name, REG_SZ, text, static_cast<DWORD>(strlen(text) + 1));
    }
    CString Value(const char* name, bool expand = false)
    {
        return RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, m_key.c_str(), name, expand);
    }
    CString Path(const char* sub) const { return CString((m_key + "\\" + sub).c_str()); }

    std::string m_key;
    HKEY m_hKey = nullptr;
};

}  // namespace

using weft::test::Join;

TEST_F(RegistryUtilsTest, SubKeysComeAsPathsBelowTheRootEachBeforeItsChildrenAndMissingKeysGiveEmptyLists)
{
    TextArray list = weft::test::Texts({"stale"});
    EXPECT_FALSE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, Path("none"), list, true));
    EXPECT_TRUE(list.IsEmpty());
    list.Add("stale");
    EXPECT_FALSE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, Path("none"), list));
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_FALSE(RegistryUtils::GetSubKeys(nullptr, "Software", list, true));
    EXPECT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, m_key.c_str(), list));
    EXPECT_TRUE(list.IsEmpty());
    SetText("A\\A1\\A1x", "deep", "down here");
    SetText("A\\A2", "", "");
    SetText("B", "", "");
    TextArray keys;
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, m_key.c_str(), keys, true));
    const std::string k = m_key + "\\";
    EXPECT_EQ(k + "A|" + k + "A\\A1|" + k + "A\\A1\\A1x|" + k + "A\\A2|" + k + "B|", Join(keys));
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, m_key.c_str(), keys, false));
    EXPECT_EQ(k + "A|" + k + "B|", Join(keys));
    // Every listed path is accepted by the other calls.
    EXPECT_EQ(CString("down here"), RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, Path("A\\A1\\A1x"), "deep", false));
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, Path("B"), keys, true));
    EXPECT_TRUE(keys.IsEmpty());
}

TEST_F(RegistryUtilsTest, EveryValueTypeComesAsTextAndEveryNameIsListed)
{
    const auto bytes = [](std::initializer_list<unsigned char> b) { return std::string(b.begin(), b.end()); };
    const DWORD dword = 4294967295u;
    const unsigned long long qword = 18446744073709551615ull;
    struct Case
    {
        const char* name;
        DWORD type;
        std::string data;
        const char* text;
    } cases[] = {
        {"", REG_SZ, std::string("default", 8), "default"},  // the default value has the empty name
        {"sz", REG_SZ, std::string("plain text", 11), "plain text"},
        {"expand", REG_EXPAND_SZ, std::string("%SystemRoot%\\x", 15), "%SystemRoot%\\x"},
        {"multi", REG_MULTI_SZ, std::string("one\0two\0\0three\0", 16), "one\ntwo"},  // "" ends the list
        {"dword", REG_DWORD, std::string(reinterpret_cast<const char*>(&dword), 4), "4294967295"},
        {"bigendian", REG_DWORD_BIG_ENDIAN, bytes({0, 0, 1, 2}), "258"},
        {"qword", REG_QWORD, std::string(reinterpret_cast<const char*>(&qword), 8), "18446744073709551615"},
        {"binary", REG_BINARY, bytes({0x00, 0x0a, 0xff, 0x10}), "00 0a ff 10"},
        {"emptybinary", REG_BINARY, "", ""},
        {"shortdword", REG_DWORD, bytes({0x00, 0x0a, 0xff}), "00 0a ff"},
        {"none", REG_NONE, bytes({0x00, 0x0a}), "00 0a"},
        {"noterminator", REG_SZ, "abc", "abc"},
    };
    for (const Case& c : cases)
        Set("", c.name, c.type, c.data.data(), static_cast<DWORD>(c.data.size()));
    TextArray names;
    ASSERT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, m_key.c_str(), names));
    EXPECT_EQ(std::size(cases), names.GetCount());
    for (const Case& c : cases)
    {
        EXPECT_EQ(CString(c.text), Value(c.name)) << c.name;
        bool found = false;
        names.Find(c.name, false, found);
        EXPECT_TRUE(found) << c.name;
    }
    char expanded[MAX_PATH] = {};
    ExpandEnvironmentStringsA("%SystemRoot%\\x", expanded, MAX_PATH);
    EXPECT_EQ(CString(expanded), Value("expand", true));
    EXPECT_NE(CString("%SystemRoot%\\x"), Value("expand", true));
    CString text;
    unsigned long type = 0;
    EXPECT_TRUE(RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, m_key.c_str(), "qword", false, text, type));
    EXPECT_EQ(static_cast<unsigned long>(REG_QWORD), type);
    // Long names and values are read whole; missing ones give empty texts.
    const std::string longText(100000, 'v');
    const std::string longName(2000, 'n');
    SetText("", longName.c_str(), longText.c_str());
    EXPECT_EQ(CString(longText.c_str()), Value(longName.c_str()));
    bool found = false;
    ASSERT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, m_key.c_str(), names));
    names.Find(longName.c_str(), false, found);
    EXPECT_TRUE(found);
    // The one-pass listing gives the same names, each with the text that reading it by name gives.
    TextArray oneNames, oneTexts;
    ASSERT_TRUE(RegistryUtils::GetKeyValueTexts(HKEY_CURRENT_USER, m_key.c_str(), oneNames, oneTexts, true));
    EXPECT_EQ(Join(names), Join(oneNames));
    for (unsigned long long i = 0; i < names.GetCount(); ++i)
        EXPECT_EQ(Value(names.GetCopyAt(i), true), oneTexts.GetCopyAt(i)) << names.GetCopyAt(i);
    EXPECT_FALSE(RegistryUtils::GetKeyValueTexts(HKEY_CURRENT_USER, Path("none"), oneNames, oneTexts, false));
    EXPECT_TRUE(oneNames.IsEmpty() && oneTexts.IsEmpty());
    EXPECT_EQ(CString(), Value("missing"));
    EXPECT_EQ(CString(), RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, Path("none"), "x", false));
    EXPECT_EQ(CString(), RegistryUtils::GetKeyValue(nullptr, nullptr, nullptr, false));
}
