#include "weftcore.h"

#include <gtest/gtest.h>

static_assert(sizeof(SmartHANDLE) == sizeof(HANDLE), "the handle is the only field");

namespace
{
bool IsOpen(HANDLE h)
{
    DWORD flags = 0;
    return GetHandleInformation(h, &flags) != FALSE;
}

HANDLE NewEvent()
{
    return CreateEventA(nullptr, TRUE, FALSE, nullptr);
}
}  // namespace

TEST(SmartHANDLETest, AssignmentAndDestructionCloseTheHandleHeldKeepingTheLastErrorMoveAndDetachHandItOn)
{
    HANDLE first = NewEvent();
    HANDLE second = NewEvent();
    {
        SmartHANDLE h(first);
        h = first;  // the same handle again stays open
        EXPECT_TRUE(IsOpen(first));
        SetLastError(ERROR_ALREADY_EXISTS);
        h = second;
        EXPECT_EQ(static_cast<DWORD>(ERROR_ALREADY_EXISTS), GetLastError());
        EXPECT_FALSE(IsOpen(first));
        EXPECT_EQ(second, static_cast<HANDLE>(h));
        SetLastError(ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_FALSE(IsOpen(second));
    SmartHANDLE invalid(INVALID_HANDLE_VALUE);
    EXPECT_FALSE(invalid.IsValid());
    invalid = nullptr;
    invalid.Close();
    EXPECT_EQ(nullptr, invalid.m_hHandle);

    HANDLE raw = NewEvent();
    SmartHANDLE a(raw);
    SmartHANDLE b(std::move(a));
    EXPECT_EQ(nullptr, a.m_hHandle);
    EXPECT_EQ(raw, b.Detach());
    EXPECT_FALSE(b.IsValid());
    EXPECT_TRUE(IsOpen(raw));
    CloseHandle(raw);
}
