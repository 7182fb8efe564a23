#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

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
        HKEY gone = nullptr;
        EXPECT_NE(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, m_key.c_str(), 0, KEY_READ, &gone));
    }

    void Set(const char* sub, const char* name, DWORD type, const void* data, DWORD size)
    {
        HKEY key = nullptr;
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(m_hKey, sub, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        ASSERT_EQ(ERROR_SUCCESS, RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size));
        RegCloseKey(key);
    }
    void SetText(const char* sub, const char* name, const char* text, DWORD type = REG_SZ)
    {
        Set(sub, name, type, text, static_cast<DWORD>(strlen(text) + 1));
    }
    void MakeKey(const char* sub)
    {
        HKEY key = nullptr;
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(m_hKey, sub, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        RegCloseKey(key);
    }
    CString Value(const char* name, bool expand = false)
    {
        return RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, m_key.c_str(), name, expand);
    }
    CString Path(const char* sub) const { return CString((m_key + "\\" + sub).c_str()); }

    std::string m_key;
    HKEY m_hKey = nullptr;
};

std::string Join(const TextArray& list)
{
    std::string all;
    for (unsigned long long i = 0; i < list.GetCount(); ++i)
        all += std::string(list.GetCopyAt(i)) + "|";
    return all;
}
}  // namespace

TEST_F(RegistryUtilsTest, SubKeysComeAsPathsBelowTheRootEachBeforeItsChildren)
{
    MakeKey("A\\A1\\A1x");
    MakeKey("A\\A2");
    MakeKey("B");
    TextArray keys;
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, m_key.c_str(), keys, true));
    const std::string k = m_key + "\\";
    EXPECT_EQ(k + "A|" + k + "A\\A1|" + k + "A\\A1\\A1x|" + k + "A\\A2|" + k + "B|", Join(keys));
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, m_key.c_str(), keys, false));
    EXPECT_EQ(k + "A|" + k + "B|", Join(keys));
    // Every listed path is accepted by the other calls.
    SetText("A\\A1\\A1x", "deep", "down here");
    EXPECT_EQ(CString("down here"), RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, Path("A\\A1\\A1x"), "deep", false));
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, Path("B"), keys, true));
    EXPECT_TRUE(keys.IsEmpty());
}

TEST_F(RegistryUtilsTest, ValueNamesIncludeTheDefaultValueAsTheEmptyName)
{
    SetText("", "first", "1");
    SetText("", "", "default");
    SetText("", "second", "2");
    TextArray names;
    ASSERT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, m_key.c_str(), names));
    EXPECT_EQ(3u, names.GetCount());
    bool found = false;
    for (const char* n : {"first", "", "second"})
    {
        names.Find(n, false, found);
        EXPECT_TRUE(found) << n;
    }
    EXPECT_EQ(CString("default"), Value(""));
}

TEST_F(RegistryUtilsTest, EveryValueTypeComesAsText)
{
    SetText("", "sz", "plain text");
    SetText("", "expand", "%SystemRoot%\\x", REG_EXPAND_SZ);
    const char multi[] = "one\0two\0\0three\0";  // an empty string ends the list
    Set("", "multi", REG_MULTI_SZ, multi, sizeof multi);
    const DWORD dword = 4294967295u;
    Set("", "dword", REG_DWORD, &dword, 4);
    const unsigned char big[] = {0, 0, 1, 2};
    Set("", "bigendian", REG_DWORD_BIG_ENDIAN, big, 4);
    const unsigned long long qword = 18446744073709551615ull;
    Set("", "qword", REG_QWORD, &qword, 8);
    const unsigned char bytes[] = {0x00, 0x0a, 0xff, 0x10};
    Set("", "binary", REG_BINARY, bytes, 4);
    Set("", "emptybinary", REG_BINARY, nullptr, 0);
    Set("", "shortdword", REG_DWORD, bytes, 3);
    Set("", "none", REG_NONE, bytes, 2);
    const char unterminated[] = {'a', 'b', 'c'};
    Set("", "noterminator", REG_SZ, unterminated, 3);

    EXPECT_EQ(CString("plain text"), Value("sz"));
    EXPECT_EQ(CString("%SystemRoot%\\x"), Value("expand"));
    char expanded[MAX_PATH] = {};
    ExpandEnvironmentStringsA("%SystemRoot%\\x", expanded, MAX_PATH);
    EXPECT_EQ(CString(expanded), Value("expand", true));
    EXPECT_NE(CString("%SystemRoot%\\x"), Value("expand", true));
    EXPECT_EQ(CString("one\ntwo"), Value("multi"));
    EXPECT_EQ(CString("4294967295"), Value("dword"));
    EXPECT_EQ(CString("258"), Value("bigendian"));
    EXPECT_EQ(CString("18446744073709551615"), Value("qword"));
    EXPECT_EQ(CString("00 0a ff 10"), Value("binary"));
    EXPECT_EQ(CString(), Value("emptybinary"));
    EXPECT_EQ(CString("00 0a ff"), Value("shortdword"));
    EXPECT_EQ(CString("00 0a"), Value("none"));
    EXPECT_EQ(CString("abc"), Value("noterminator"));

    CString text;
    unsigned long type = 0;
    EXPECT_TRUE(RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, m_key.c_str(), "qword", false, text, type));
    EXPECT_EQ(static_cast<unsigned long>(REG_QWORD), type);
}

TEST_F(RegistryUtilsTest, ANumberAndATextOfTheSameDigitsReadAlike)
{
    const DWORD n = 42;
    Set("", "number", REG_DWORD, &n, 4);
    SetText("", "text", "42");
    EXPECT_EQ(Value("number"), Value("text"));
}

TEST_F(RegistryUtilsTest, LongValuesAndNamesAreReadWhole)
{
    const std::string longText(100000, 'v');
    const std::string longName(2000, 'n');
    SetText("", longName.c_str(), longText.c_str());
    EXPECT_EQ(CString(longText.c_str()), Value(longName.c_str()));
    TextArray names;
    ASSERT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, m_key.c_str(), names));
    EXPECT_EQ(CString(longName.c_str()), names.GetCopyAt(0));
}

TEST_F(RegistryUtilsTest, MissingKeysAndValuesGiveFalseAndEmptyTexts)
{
    TextArray list;
    list.Add("stale");
    EXPECT_FALSE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, Path("none"), list, true));
    EXPECT_TRUE(list.IsEmpty());
    list.Add("stale");
    EXPECT_FALSE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, Path("none"), list));
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(CString(), Value("none"));
    EXPECT_EQ(CString(), RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, Path("none"), "x", false));
    EXPECT_FALSE(RegistryUtils::GetSubKeys(nullptr, "Software", list, true));
    EXPECT_EQ(CString(), RegistryUtils::GetKeyValue(nullptr, nullptr, nullptr, false));
    EXPECT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, m_key.c_str(), list));
    EXPECT_TRUE(list.IsEmpty());
}
