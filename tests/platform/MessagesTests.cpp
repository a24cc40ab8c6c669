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

// Runs the body on a fresh thread, so that each test starts with no queue.
void OnNewThread(std::function<void()> body)
{
    EXPECT_EQ(0u, JoinThread(StartThread([&]() -> unsigned {
        body();
        return 0;
    })));
}

}

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
    EXPECT_EQ(UINT(WM_USER + 1), received[0].message);
    EXPECT_EQ(WPARAM(11), received[0].wParam);
    EXPECT_EQ(LPARAM(-12), received[0].lParam);
    EXPECT_EQ(nullptr, received[0].hwnd);
    EXPECT_EQ(UINT(WM_QUIT), received[1].message);
    EXPECT_EQ(WPARAM(13), received[1].wParam);
    CloseHandle(ready);
    CloseHandle(go);
}

TEST(Messages, PeekFiltersByRangeAndKeepsOrder)
{
    OnNewThread([] {
        MSG msg;
        EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
        DWORD self = GetCurrentThreadId();
        for (UINT message : {UINT(WM_USER + 1), UINT(WM_USER + 5), UINT(WM_USER + 2), UINT(WM_APP)})
            EXPECT_TRUE(PostThreadMessageA(self, message, message, 0));

        EXPECT_TRUE(PeekMessageA(&msg, nullptr, WM_USER + 2, WM_USER + 5, PM_NOREMOVE));
        EXPECT_EQ(UINT(WM_USER + 5), msg.message);
        EXPECT_TRUE(PeekMessageA(&msg, nullptr, WM_USER + 2, WM_USER + 5, PM_REMOVE));
        EXPECT_EQ(UINT(WM_USER + 5), msg.message);
        EXPECT_EQ(WPARAM(WM_USER + 5), msg.wParam);
        EXPECT_TRUE(PeekMessageA(&msg, nullptr, WM_USER + 2, WM_USER + 5, PM_REMOVE));
        EXPECT_EQ(UINT(WM_USER + 2), msg.message);
        EXPECT_FALSE(PeekMessageA(&msg, nullptr, WM_USER + 2, WM_USER + 5, PM_REMOVE));

        EXPECT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
        EXPECT_EQ(UINT(WM_USER + 1), msg.message);
        EXPECT_TRUE(PeekMessageA(&msg, HWND(LONG_PTR(-1)), 0, 0, PM_REMOVE));
        EXPECT_EQ(UINT(WM_APP), msg.message);
        EXPECT_FALSE(PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE));
    });
}

TEST(Messages, WindowTargetReceivesPostsFromOtherThreads)
{
    OnNewThread([] {
        HWND window = MakeMessageTarget();
        ASSERT_TRUE(window);
        DWORD self = GetCurrentThreadId();
        EXPECT_EQ(1u, JoinThread(StartThread([&]() -> unsigned {
            return PostMessageA(window, WM_USER + 7, 1, 2) && PostThreadMessageA(self, WM_USER + 8, 3, 4);
        })));

        // A window filter takes that window's messages, (HWND)-1 only thread messages.
        MSG msg;
        EXPECT_TRUE(PeekMessageA(&msg, HWND(LONG_PTR(-1)), WM_USER, WM_USER + 100, PM_REMOVE));
        EXPECT_EQ(UINT(WM_USER + 8), msg.message);
        EXPECT_EQ(nullptr, msg.hwnd);
        EXPECT_FALSE(PeekMessageA(&msg, HWND(LONG_PTR(-1)), WM_USER, WM_USER + 100, PM_REMOVE));
        EXPECT_EQ(1, GetMessageA(&msg, window, WM_USER, WM_USER + 100));
        EXPECT_EQ(window, msg.hwnd);
        EXPECT_EQ(UINT(WM_USER + 7), msg.message);
        EXPECT_EQ(WPARAM(1), msg.wParam);
        EXPECT_EQ(LPARAM(2), msg.lParam);

        EXPECT_TRUE(PostMessageA(nullptr, WM_USER + 9, 0, 0)) << "null posts to this thread";
        EXPECT_TRUE(PeekMessageA(&msg, nullptr, WM_USER + 9, WM_USER + 9, PM_REMOVE));
        EXPECT_EQ(nullptr, msg.hwnd);

        EXPECT_TRUE(DestroyWindow(window));
        EXPECT_FALSE(PostMessageA(window, WM_USER, 0, 0));
        EXPECT_EQ(DWORD(ERROR_INVALID_WINDOW_HANDLE), GetLastError());
        EXPECT_EQ(-1, GetMessageA(&msg, window, 0, 0));
        EXPECT_EQ(DWORD(ERROR_INVALID_WINDOW_HANDLE), GetLastError());
    });
}

// Producers post numbered messages to two consumers at once; each consumer must see
// every message of every producer, in the order that producer posted them.
TEST(Messages, ProducersAndConsumersLoseNothing)
{
    const int producers = 4, consumers = 2, perPair = 1500;
    HANDLE ready[consumers];
    unsigned ids[consumers];
    std::vector<HANDLE> threads;
    bool inOrder[consumers] = {};
    for (int c = 0; c < consumers; ++c) {
        ready[c] = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        threads.push_back(StartThread([&, c]() -> unsigned {
            MSG msg;
            PeekMessageA(&msg, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
            SetEvent(ready[c]);
            std::vector<LPARAM> next(producers, 0);
            int ended = 0;
            bool ordered = true;
            while (ended < producers && GetMessageA(&msg, nullptr, WM_USER, WM_USER + 1) > 0) {
                if (msg.message == WM_USER + 1) {
                    ordered = ordered && next[msg.wParam] == perPair;
                    ++ended;
                } else {
                    ordered = ordered && msg.lParam == next[msg.wParam];
                    ++next[msg.wParam];
                }
            }
            inOrder[c] = ordered;
            return 0;
        }, 0, &ids[c]));
    }
    ASSERT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(consumers, ready, TRUE, 5000));
    LONG volatile failures = 0;
    for (int p = 0; p < producers; ++p) {
        threads.push_back(StartThread([&, p]() -> unsigned {
            for (int i = 0; i < perPair; ++i) {
                for (int c = 0; c < consumers; ++c) {
                    if (!PostThreadMessageA(ids[c], WM_USER, WPARAM(p), LPARAM(i)))
                        InterlockedIncrement(&failures);
                }
            }
            for (int c = 0; c < consumers; ++c)
                PostThreadMessageA(ids[c], WM_USER + 1, WPARAM(p), 0);
            return 0;
        }));
    }
    for (HANDLE thread : threads)
        EXPECT_EQ(0u, JoinThread(thread));
    EXPECT_EQ(0, failures);
    for (int c = 0; c < consumers; ++c) {
        EXPECT_TRUE(inOrder[c]) << "consumer " << c;
        CloseHandle(ready[c]);
    }
}
