#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <vector>

#include "ThreadsTestSupport.h"

using namespace ThreadsTest;

namespace {

// A window that only receives posted messages, bound to the calling thread.
HWND MakeMessageTarget()
{
#ifdef _WIN32
    return CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
#else
    return CreateMessageTargetWindow();
#endif
}

}  // namespace

TEST(Messages, QueueIsMadeByTheFirstPeekOrGet)
{
    HANDLE go = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    HANDLE ready = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    std::vector<MSG> received;
    unsigned id = 0;
    HANDLE thread = StartThread([&]() -> unsigned {
        WaitForSingleObject(go, INFINITE);
        MSG msg;
        PeekMessageA(&msg, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
        SetEvent(ready);
        BOOL result;
        while ((result = GetMessageA(&msg, nullptr, 0, 0)) > 0)
            received.push_back(msg);
        received.push_back(msg);
        return unsigned(result);
    }, 0, &id);

    EXPECT_FALSE(PostThreadMessageA(id, WM_USER, 0, 0));
    EXPECT_EQ(DWORD(ERROR_INVALID_THREAD_ID), GetLastError());
    SetEvent(go);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(ready, 5000));
    EXPECT_TRUE(PostThreadMessageA(id, WM_USER + 1, 11, -12));
    EXPECT_TRUE(PostThreadMessageA(id, WM_QUIT, 13, 0));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 5000));
    // Wine answers ERROR_INVALID_PARAMETER once no handle of the thread is left open.
    EXPECT_FALSE(PostThreadMessageA(id, WM_USER, 0, 0)) << "the thread has ended";
    EXPECT_EQ(DWORD(ERROR_INVALID_THREAD_ID), GetLastError());
    EXPECT_EQ(0u, JoinThread(thread)) << "GetMessageA answers 0 for WM_QUIT";
    ASSERT_EQ(2u, received.size());
    EXPECT_TRUE(received[0].message == WM_USER + 1 && received[0].wParam == 11 && received[0].lParam == -12);
    EXPECT_EQ(nullptr, received[0].hwnd);
    EXPECT_TRUE(received[1].message == WM_QUIT && received[1].wParam == 13);
    CloseHandle(ready);
    CloseHandle(go);
}

// Filters by range and by target, in the order of posting, with posts from another thread.
TEST(Messages, FiltersAndWindowTargets)
{
    EXPECT_EQ(0u, JoinThread(StartThread([]() -> unsigned {
        MSG msg;
        EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
        HWND window = MakeMessageTarget();
        EXPECT_TRUE(window);
        const DWORD self = GetCurrentThreadId();
        EXPECT_EQ(1u, JoinThread(StartThread([&]() -> unsigned {
            bool posted = PostMessageA(window, WM_USER + 3, 1, 2);
            for (UINT message : {UINT(WM_USER + 1), UINT(WM_USER + 5), UINT(WM_USER + 2), UINT(WM_APP)})
                posted = posted && PostThreadMessageA(self, message, message, 0);
            return posted;
        })));
        EXPECT_TRUE(PeekMessageA(&msg, nullptr, WM_USER + 2, WM_USER + 5, PM_NOREMOVE));
        EXPECT_EQ(UINT(WM_USER + 3), msg.message);
        // (HWND)-1 takes only thread messages, a window only that window's.
        const struct {
            HWND filter;
            UINT first, last, message;
        } takes[] = {
            {HWND(LONG_PTR(-1)), WM_USER + 2, WM_USER + 5, WM_USER + 5},
            {HWND(LONG_PTR(-1)), WM_USER + 2, WM_USER + 5, WM_USER + 2},
            {window, 0, 0, WM_USER + 3},
            {nullptr, 0, 0, WM_USER + 1},
            {HWND(LONG_PTR(-1)), 0, 0, WM_APP},
        };
        for (const auto& t : takes) {
            EXPECT_TRUE(PeekMessageA(&msg, t.filter, t.first, t.last, PM_REMOVE));
            EXPECT_EQ(t.message, msg.message);
            EXPECT_EQ(t.filter == window ? window : nullptr, msg.hwnd);
        }
        EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));

        EXPECT_TRUE(PostMessageA(nullptr, WM_USER + 9, 0, 0)) << "null posts to this thread";
        EXPECT_TRUE(PeekMessageA(&msg, nullptr, WM_USER + 9, WM_USER + 9, PM_REMOVE));
        EXPECT_EQ(nullptr, msg.hwnd);
        EXPECT_TRUE(DestroyWindow(window));
        EXPECT_FALSE(PostMessageA(window, WM_USER, 0, 0));
        EXPECT_EQ(DWORD(ERROR_INVALID_WINDOW_HANDLE), GetLastError());
        EXPECT_EQ(-1, GetMessageA(&msg, window, 0, 0));
        EXPECT_EQ(DWORD(ERROR_INVALID_WINDOW_HANDLE), GetLastError());
        return 0;
    })));
}
