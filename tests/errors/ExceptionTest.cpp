#include <gtest/gtest.h>

#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <thread>

namespace {

const char kDeleted[] = "An error occurred. The file could not be deleted.";

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
    EXPECT_TRUE(msg.wParam == 0 && (!window || msg.hwnd == window));
    return reinterpret_cast<TException*>(msg.lParam);
}

// The string heap holds as many blocks at the end of the scope as at its start.
struct NoStringLeak {
    unsigned long blocks = _stringHeap->GetBlocksInUse();
    ~NoStringLeak() { EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse()); }
};

}  // namespace

// Every form of SetAndThrow, thrown and posted to the loader thread: the texts and the code.
// Empty and missing texts, and identifiers without a text, leave their field null.
TEST(Exception, EveryFormThrownAndPosted)
{
    ASSERT_EQ(GetCurrentThreadId(), _loaderThreadId);
    MSG msg;
    PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);  // the loader thread's queue
    NoStringLeak noLeak;
    TException full("disk full", 112ul);
    full.drive = 3;
    const String m("m"), d("d");
    const struct {
        std::function<void(TExceptionThrower&)> call;
        const char *message, *detail;
        unsigned long code;
        int drive;
    } forms[] = {
        {[](TExceptionThrower& t) { t.SetAndThrow(); }, nullptr, nullptr, 0, 0},
        {[&](TExceptionThrower& t) { t.SetAndThrow(full); }, "disk full", nullptr, 112, 3},
        {[](TExceptionThrower& t) { t.SetAndThrow("m"); }, "m", nullptr, 0, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow("", "d"); }, nullptr, "d", 0, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow(static_cast<const char*>(nullptr), 7ul); }, nullptr, nullptr, 7, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow("m", "d", 8ul); }, "m", "d", 8, 0},
        {[&](TExceptionThrower& t) { t.SetAndThrow(m); }, "m", nullptr, 0, 0},
        {[&](TExceptionThrower& t) { t.SetAndThrow(String(), d); }, nullptr, "d", 0, 0},
        {[&](TExceptionThrower& t) { t.SetAndThrow(m, 9ul); }, "m", nullptr, 9, 0},
        {[&](TExceptionThrower& t) { t.SetAndThrow(m, d, 10ul); }, "m", "d", 10, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow(ResMess(18001)); }, kDeleted, nullptr, 0, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow(ResMess(17999), ResMess(18001)); }, nullptr, kDeleted, 0, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow(ResMess(18001), 5ul); }, kDeleted, nullptr, 5, 0},
        {[](TExceptionThrower& t) { t.SetAndThrow(ResMess(18001), ResMess(18001), 6ul); }, kDeleted, kDeleted, 6, 0},
    };
    for (int post = 0; post <= 1; ++post) {
        for (const auto& form : forms) {
            TExceptionThrower thrower(post);
            TException got;
            try {
                form.call(thrower);
                TException* posted = TakePosted();
                ASSERT_TRUE(post && posted) << "throw mode returned, or nothing was posted";
                got = *posted;
                delete posted;
            } catch (const TException& e) {
                EXPECT_EQ(0, post);
                got = e;
            }
            SCOPED_TRACE(Text(got.message) + (post ? ", posted" : ", thrown"));
            EXPECT_EQ(form.message ? std::string(form.message) : "(null)", Text(got.message));
            EXPECT_EQ(form.detail ? std::string(form.detail) : "(null)", Text(got.detail));
            EXPECT_TRUE(got.code == form.code && got.drive == form.drive && got.why().IsEmpty());
        }
    }
    EXPECT_EQ(nullptr, TakePosted());

    // The constructors take the same texts as the thrower.
    const String none;
    const TException built[] = {TException(static_cast<const char*>(nullptr)), TException(none),
                                TException(String("m")), TException("m", "d"), TException(m, d), TException("", 3ul),
                                TException(m, 4ul), TException("m", "", 5ul), TException(none, d, 6ul)};
    const char* const texts[][2] = {{"(null)", "(null)"}, {"(null)", "(null)"}, {"m", "(null)"}, {"m", "d"}, {"m", "d"},
                                    {"(null)", "(null)"}, {"m", "(null)"}, {"m", "(null)"}, {"(null)", "d"}};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(texts[i][0], Text(built[i].message)) << i;
        EXPECT_EQ(texts[i][1], Text(built[i].detail)) << i;
        EXPECT_EQ(i < 5 ? 0u : uint32_t(i - 2), built[i].code) << i;
    }

    // raise throws the base part only.
    try {
        full.raise();
    } catch (const TException&) {
        ADD_FAILURE() << "caught as a TException";
    } catch (const AException& e) {
        EXPECT_TRUE(e.why().IsEmpty()) << "the text is not passed to the base";
    }
}

TEST(Exception, CopiesShareTextsAndReleaseThem)
{
    NoStringLeak noLeak;
    TException* original = new TException("message", "detail", 9ul);
    TException copy(*original), other("other");
    EXPECT_EQ(original->message->c_str(), copy.message->c_str()) << "one buffer, two text objects";
    EXPECT_NE(original->message, copy.message);
    delete original;
    EXPECT_EQ(1u, Holders(*copy.detail));
    other = copy;
    TException& self = other;
    other = self;
    EXPECT_TRUE(Text(other.detail) == "detail" && other.code == 9u);
    EXPECT_EQ(2u, Holders(*other.message)) << "self-assignment took and gave nothing";
    other = TException();
    EXPECT_TRUE(other.message == nullptr && Holders(*copy.message) == 1);

    AException a(String("a")), b(String("b"));
    a = b;
    AException& same = a;
    a = same;
    EXPECT_STREQ("b", a.why().c_str());
    EXPECT_EQ(2u, Holders(a.why())) << "a and b; the old text of a was released";
}

TEST(Exception, PostsFromOtherThreadsAndToTheNotifiedWindow)
{
    MSG msg;
    PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
    NoStringLeak noLeak;

    // A worker's post carries a private copy of its texts: a change after the post does not
    // reach it.
    std::thread([] {
        String text("worker failed");
        TExceptionThrower(1).SetAndThrow(text, String("while reading"), 32ul);
        text.Replace(0, 6, "WORKER");
    }).join();
    TException* e = TakePosted();
    ASSERT_NE(nullptr, e);
    EXPECT_EQ("worker failed", Text(e->message));
    EXPECT_EQ(1u, Holders(*e->message)) << "the posted copy shares no buffer";
    delete e;

    // A post that no queue takes ends its copy: a thread that has ended has no queue.
    DWORD gone = 0;
    std::thread([&gone] { gone = GetCurrentThreadId(); }).join();
    TExceptionThrower lost(1);
    lost.threadId = gone;
    lost.SetAndThrow("nobody reads this", "nor this");

    // The target is bound when the thrower is built.
#ifdef HWND_MESSAGE
    const HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
#else
    const HWND window = CreateMessageTargetWindow();
#endif
    ASSERT_NE(nullptr, window);
    const unsigned long handle = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(window));
    TExceptionThrower before(1);
    TException::NotifyPostHandle(handle);
    TExceptionThrower after(1);
    EXPECT_EQ(_loaderThreadId, before.threadId);
    EXPECT_EQ(static_cast<uint32_t>(handle), after.window);
    EXPECT_EQ(TExceptionThrower::kNoThread, after.threadId);
    std::thread([after]() mutable { after.SetAndThrow("to the window", 1460ul); }).join();
    e = TakePosted(window);
    ASSERT_NE(nullptr, e);
    EXPECT_TRUE(Text(e->message) == "to the window" && e->code == 1460u);
    delete e;
    TException::NotifyPostHandle(0);
    EXPECT_EQ(_loaderThreadId, TExceptionThrower(1).threadId);
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_EQ(nullptr, TakePosted());
}

// The new handler installed at load throws "Out of memory". With the string heap failing
// too (n > 0) while the report is built, the report loses its text, and is neither lost nor
// recursing.
TEST(Exception, OutOfMemoryIsOneTException)
{
    NoStringLeak noLeak;
    NH_Heap heap(1, "exhausted");
    void* kept = heap.Alloc(16);
    int withoutText = 0;
    for (unsigned long n = 0; n <= 6; ++n) {
        _stringHeap->FailAllocation(n);
        heap.FailAllocation(1);
        try {
            heap.Realloc(kept, 4096);
            ADD_FAILURE() << "the failed allocation returned";
        } catch (const TException& e) {
            EXPECT_EQ(n ? Text(e.message) : "Out of memory", Text(e.message)) << n;
            EXPECT_TRUE((!e.message || Text(e.message) == "Out of memory") && !e.detail && e.code == 0);
            withoutText += !e.message;
        }
        _stringHeap->FailAllocation(0);
    }
    EXPECT_GE(withoutText, 1);
    EXPECT_EQ(1u, heap.GetBlocksInUse());
    NH_Heap::FreeMem(kept);
}

TEST(Exception, SendDebugStringAddsALineEndAndKeepsToItsBuffer)
{
#ifdef TARN_DEBUG_OUTPUT_TO_STDERR
    testing::internal::CaptureStderr();
#endif
    SendDebugString("value %d of %s", 42, "test");
    SendDebugString("%s", std::string(2000, 'x').c_str());
#ifdef TARN_DEBUG_OUTPUT_TO_STDERR
    EXPECT_EQ("value 42 of test\n" + std::string(998, 'x') + "\n", testing::internal::GetCapturedStderr());
#endif
}
