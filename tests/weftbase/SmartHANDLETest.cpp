#include "weftcore.h"

#include <gtest/gtest.h>

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

TEST(SmartHANDLETest, DestructionClosesTheHandle)
{
    HANDLE raw = NewEvent();
    {
        SmartHANDLE h;
        h = raw;
        EXPECT_EQ(raw, h.m_hHandle);
        EXPECT_EQ(raw, static_cast<HANDLE>(h));
        EXPECT_TRUE(IsOpen(raw));
    }
    EXPECT_FALSE(IsOpen(raw));
}

TEST(SmartHANDLETest, AssignmentClosesTheHandleHeldBeforeButNotTheSameOne)
{
    HANDLE first = NewEvent();
    HANDLE second = NewEvent();
    SmartHANDLE h(first);
    h = first;
    EXPECT_TRUE(IsOpen(first));
    h = second;
    EXPECT_FALSE(IsOpen(first));
    EXPECT_TRUE(IsOpen(second));
    h = nullptr;
    EXPECT_FALSE(IsOpen(second));
    EXPECT_FALSE(h.IsValid());
}

TEST(SmartHANDLETest, InvalidHandlesAreHeldButNeverClosed)
{
    SmartHANDLE h(INVALID_HANDLE_VALUE);
    EXPECT_FALSE(h.IsValid());
    h = nullptr;
    EXPECT_FALSE(h.IsValid());
    h.Close();
    EXPECT_EQ(nullptr, h.m_hHandle);
}

TEST(SmartHANDLETest, StoringAndClosingKeepTheLastError)
{
    SmartHANDLE h(NewEvent());
    HANDLE next = NewEvent();
    SetLastError(ERROR_ALREADY_EXISTS);
    h = next;
    EXPECT_EQ(static_cast<DWORD>(ERROR_ALREADY_EXISTS), GetLastError());
    SetLastError(ERROR_FILE_NOT_FOUND);
    h.Close();
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
}

TEST(SmartHANDLETest, DetachGivesTheHandleUpAndMoveHandsItOn)
{
    HANDLE raw = NewEvent();
    SmartHANDLE a(raw);
    SmartHANDLE b(std::move(a));
    EXPECT_EQ(nullptr, a.m_hHandle);
    EXPECT_EQ(raw, b.m_hHandle);
    HANDLE kept = b.Detach();
    EXPECT_EQ(raw, kept);
    EXPECT_FALSE(b.IsValid());
    EXPECT_TRUE(IsOpen(raw));
    CloseHandle(raw);
}

TEST(SmartHANDLETest, TheHandleIsTheOnlyField)
{
    EXPECT_EQ(sizeof(HANDLE), sizeof(SmartHANDLE));
}
