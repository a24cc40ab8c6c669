#include <gtest/gtest.h>

#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <cstdint>
#include <new>
#include <string>
#include <thread>

namespace {

std::string Text(const String* s)
{
    return s ? std::string(s->c_str()) : std::string("(null)");
}

uint32_t Holders(const String& s)
{
    return (reinterpret_cast<const StringRef*>(s.c_str()) - 1)->refCount;
}

// The next posted exception for the calling thread (window null: any target), or null.
TException* TakePosted(HWND window = nullptr)
{
    MSG msg;
    if (!PeekMessageA(&msg, window, WM_POSTED_EXCEPTION, WM_POSTED_EXCEPTION, PM_REMOVE))
        return nullptr;
    EXPECT_EQ(0u, msg.wParam);
    return reinterpret_cast<TException*>(msg.lParam);
}

// A window that only receives posted messages: the system's message-only window where it has
// them, the platform's message target otherwise.
HWND MakeMessageTarget()
{
#ifdef HWND_MESSAGE
    return CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
#else
    return CreateMessageTargetWindow();
#endif
}

// The string heap holds as many blocks at the end of the scope as at its start.
struct NoStringLeak {
    unsigned long blocks = _stringHeap->GetBlocksInUse();
    ~NoStringLeak() { EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse()); }
};

}  // namespace

TEST(Exception, FieldsTextsAndThrowMode)
{
    NoStringLeak noLeak;
    for (const TException& e : {TException(""), TException(static_cast<const char*>(nullptr)),
                                TException(String()), TException("", "", 7ul)}) {
        EXPECT_EQ(nullptr, e.message);
        EXPECT_EQ(nullptr, e.detail);
    }
    try {
        TExceptionThrower(0).SetAndThrow();
        FAIL() << "throw mode returned";
    } catch (const TException& e) {
        EXPECT_EQ(0u, e.code);
        EXPECT_EQ(0, e.drive);
        EXPECT_EQ(nullptr, e.message);
        EXPECT_EQ(nullptr, e.detail);
        EXPECT_TRUE(e.why().IsEmpty());
    }

    // Catalogue texts; an identifier without text leaves the field null.
    SetLastError(5);
    try {
        TExceptionThrower(0).SetAndThrow(18001, GetLastError());
    } catch (const TException& e) {
        EXPECT_EQ("An error occurred. The file could not be deleted.", Text(e.message));
        EXPECT_EQ(5u, e.code);
    }
    try {
        TExceptionThrower(0).SetAndThrow(ResMess(17999), ResMess(18001));
    } catch (const TException& e) {
        EXPECT_EQ(nullptr, e.message);
        EXPECT_EQ("An error occurred. The file could not be deleted.", Text(e.detail));
    }

    TException full("disk full", 112ul);
    full.drive = 3;
    try {
        TExceptionThrower(0).SetAndThrow(full);
    } catch (const TException& e) {
        EXPECT_EQ(3, e.drive);
        EXPECT_EQ(112u, e.code);
        EXPECT_EQ("disk full", Text(e.message));
    }

    // raise throws the base part only.
    int caughtAs = 0;
    try {
        full.raise();
    } catch (const TException&) {
        caughtAs = 1;
    } catch (const AException& e) {
        caughtAs = 2;
        EXPECT_TRUE(e.why().IsEmpty()) << "the text is not passed to the base";
    }
    EXPECT_EQ(2, caughtAs);
}

TEST(Exception, CopiesShareTextsAndReleaseThem)
{
    NoStringLeak noLeak;
    TException* original = new TException("message", "detail", 9ul);
    TException copy(*original);
    EXPECT_EQ(original->message->c_str(), copy.message->c_str()) << "one buffer, two text objects";
    EXPECT_NE(original->message, copy.message);
    EXPECT_EQ(2u, Holders(*copy.detail));
    delete original;
    EXPECT_EQ("message", Text(copy.message));
    EXPECT_EQ(1u, Holders(*copy.detail));

    TException other("other");
    other = copy;
    EXPECT_EQ("detail", Text(other.detail));
    EXPECT_EQ(9u, other.code);
    TException& self = other;
    other = self;
    EXPECT_EQ("message", Text(other.message));
    EXPECT_EQ(2u, Holders(*other.message)) << "self-assignment took and gave nothing";
    other = TException();
    EXPECT_EQ(nullptr, other.message);
    EXPECT_EQ(1u, Holders(*copy.message));

    AException a(String("a")), b(String("b"));
    a = b;
    AException& same = a;
    a = same;
    EXPECT_STREQ("b", a.why().c_str());
    EXPECT_EQ(2u, Holders(a.why())) << "a and b; the old text of a was released";
}

TEST(Exception, PostedToTheLoaderThreadFromAWorker)
{
    ASSERT_EQ(GetCurrentThreadId(), _loaderThreadId);
    MSG msg;
    PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the loader thread's queue
    NoStringLeak noLeak;

    TExceptionThrower bound(1);
    EXPECT_EQ(_loaderThreadId, bound.threadId);
    EXPECT_EQ(0u, bound.window);

    std::thread worker([] {
        String text("worker failed");
        TExceptionThrower(1).SetAndThrow(text, String("while reading"), 32ul);
        text.Replace(0, 6, "WORKER");  // after the post: must not reach the posted copy
        TExceptionThrower(1).SetAndThrow(ResMess(18001));
        PostThreadMessageA(_loaderThreadId, WM_QUIT, 0, 0);
    });
    int received = 0;
    while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
        ASSERT_EQ(WM_POSTED_EXCEPTION, msg.message);
        TException* e = reinterpret_cast<TException*>(msg.lParam);
        ASSERT_NE(nullptr, e);
        if (received++ == 0) {
            EXPECT_EQ("worker failed", Text(e->message));
            EXPECT_EQ("while reading", Text(e->detail));
            EXPECT_EQ(32u, e->code);
            EXPECT_EQ(1u, Holders(*e->message)) << "the posted copy shares no buffer";
        } else {
            EXPECT_EQ("An error occurred. The file could not be deleted.", Text(e->message));
        }
        delete e;
    }
    worker.join();
    EXPECT_EQ(2, received);

    // The copy of an exception the poster keeps has buffers of its own.
    const TException kept("kept", "by the poster");
    TExceptionThrower(1).SetAndThrow(kept);
    TException* posted = TakePosted();
    ASSERT_NE(nullptr, posted);
    EXPECT_NE(kept.message->c_str(), posted->message->c_str());
    EXPECT_EQ("by the poster", Text(posted->detail));
    EXPECT_EQ(1u, Holders(*kept.message));
    delete posted;

    // A post that no queue takes ends its copy: a thread that has ended has no queue.
    DWORD gone = 0;
    std::thread([&gone] { gone = GetCurrentThreadId(); }).join();
    TExceptionThrower lost(1);
    lost.threadId = gone;
    lost.SetAndThrow("nobody reads this", "nor this");
    EXPECT_EQ(nullptr, TakePosted());
}

TEST(Exception, PostedToTheNotifiedWindow)
{
    NoStringLeak noLeak;
    const HWND window = MakeMessageTarget();
    ASSERT_NE(nullptr, window);
    const unsigned long handle = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(window));

    TExceptionThrower before(1);
    TException::NotifyPostHandle(handle);
    TExceptionThrower after(1);
    EXPECT_EQ(_loaderThreadId, before.threadId) << "the target is bound when the thrower is built";
    EXPECT_EQ(static_cast<uint32_t>(handle), after.window);
    EXPECT_EQ(TExceptionThrower::kNoThread, after.threadId);

    std::thread([after]() mutable { after.SetAndThrow("to the window", 1460ul); }).join();
    MSG msg;
    ASSERT_TRUE(PeekMessageA(&msg, window, WM_POSTED_EXCEPTION, WM_POSTED_EXCEPTION, PM_REMOVE));
    EXPECT_EQ(window, msg.hwnd);
    TException* e = reinterpret_cast<TException*>(msg.lParam);
    ASSERT_NE(nullptr, e);
    EXPECT_EQ("to the window", Text(e->message));
    EXPECT_EQ(1460u, e->code);
    delete e;

    TException::NotifyPostHandle(0);
    EXPECT_EQ(_loaderThreadId, TExceptionThrower(1).threadId);
    EXPECT_TRUE(DestroyWindow(window));
}

TEST(Exception, OutOfMemoryIsOneTException)
{
    NoStringLeak noLeak;
    ASSERT_NE(nullptr, std::get_new_handler()) << "installed at load";
    try {
        std::get_new_handler()();
        FAIL() << "the handler returned";
    } catch (const TException& e) {
        EXPECT_EQ("Out of memory", Text(e.message));
    }

    NH_Heap heap(1, "exhausted");
    void* kept = heap.Alloc(16);
    heap.FailAllocation(1);
    try {
        heap.Alloc(100);
        FAIL() << "the failed allocation returned";
    } catch (const TException& e) {
        EXPECT_EQ("Out of memory", Text(e.message));
        EXPECT_EQ(nullptr, e.detail);
        EXPECT_EQ(0u, e.code);
        EXPECT_TRUE(e.why().IsEmpty());
    }
    EXPECT_EQ(1u, heap.GetBlocksInUse());

    // The string heap failing while the report is built: the report loses its text, and is
    // neither lost nor recursing.
    int withoutText = 0;
    for (unsigned long n = 1; n <= 6; ++n) {
        _stringHeap->FailAllocation(n);
        heap.FailAllocation(1);
        try {
            heap.Realloc(kept, 4096);
            FAIL() << "the failed allocation returned";
        } catch (const TException& e) {
            if (e.message)
                EXPECT_EQ("Out of memory", Text(e.message));
            else
                ++withoutText;
        }
        _stringHeap->FailAllocation(0);
    }
    EXPECT_GE(withoutText, 1);
    NH_Heap::FreeMem(kept);
    EXPECT_EQ(0u, heap.GetBlocksInUse());
}

TEST(Exception, SendDebugStringAddsALineEndAndKeepsToItsBuffer)
{
#ifdef TARN_DEBUG_OUTPUT_TO_STDERR
    testing::internal::CaptureStderr();
    SendDebugString("value %d of %s", 42, "test");
    SendDebugString("%s", std::string(2000, 'x').c_str());
    const std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ("value 42 of test\n" + std::string(998, 'x') + "\n", out);
#else
    SendDebugString("value %d of %s", 42, "test");  // to the debugger: only seen not to fail
    SendDebugString("%s", std::string(2000, 'x').c_str());
#endif
}
