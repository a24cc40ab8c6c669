// AException, TException and TExceptionThrower.
#include "errors/Exception.h"

#include <new>

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "errors/ExceptionInternals.h"
#include "frame/Frame.h"
#include "text/MessageCatalogue.h"

namespace {

// A String object of its own on the string heap sharing s's buffer: no buffer is made, so
// only the object's storage can fail, and then the result is null.
String* ShareText(const String& s)
{
    return new String(s);
}

// A String object with a new buffer holding s; null for a null or empty text, and also when
// the string heap had no room: an exception may lose its texts but is never lost itself.
String* MakeText(const char* s)
{
    if (!s || !*s)
        return nullptr;
    try {
        return new String(s);
    } catch (...) {
        return nullptr;
    }
}

String* MakeText(const String& s)
{
    return s.IsEmpty() ? nullptr : ShareText(s);
}

void ReleaseText(String*& s)
{
    delete s;
    s = nullptr;
}

// The posted copy gets buffers of its own: String counts are plain words, so it must share
// nothing with objects that the posting thread goes on using.
TException* CopyForPost(const TException& e)
{
    TException* copy;
    try {
        copy = new (std::nothrow) TException();
    } catch (...) {
        copy = nullptr;
    }
    if (!copy)
        return nullptr;
    copy->code = e.code;
    copy->drive = e.drive;
    copy->message = e.message ? MakeText(e.message->c_str()) : nullptr;
    copy->detail = e.detail ? MakeText(e.detail->c_str()) : nullptr;
    return copy;
}

// Window handles travel as 32 bits and widen with their sign, as LongToHandle does.
HWND WindowFromWord(uint32_t window)
{
    return reinterpret_cast<HWND>(static_cast<intptr_t>(static_cast<int32_t>(window)));
}

}  // namespace

AException::AException(const String& why) : whyText(ShareText(why)) {}

AException::AException(const AException& e) : whyText(e.whyText ? ShareText(*e.whyText) : nullptr) {}

AException::~AException()
{
    delete whyText;
}

AException& AException::operator=(const AException& e)
{
    if (this != &e) {
        ReleaseText(whyText);
        whyText = e.whyText ? ShareText(*e.whyText) : nullptr;
    }
    return *this;
}

const String& AException::why() const
{
    return whyText ? *whyText : GetEmptyWhy();
}

void AException::raise() const
{
    throw AException(*this);
}

TException::TException()
    : AException(GetExceptionPrototype()), code(0), drive(0), message(nullptr), detail(nullptr)
{
}

TException::TException(const char* message) : TException()
{
    this->message = MakeText(message);
}

TException::TException(const String& message) : TException()
{
    this->message = MakeText(message);
}

TException::TException(const char* message, const char* detail) : TException()
{
    this->message = MakeText(message);
    this->detail = MakeText(detail);
}

TException::TException(const String& message, const String& detail) : TException()
{
    this->message = MakeText(message);
    this->detail = MakeText(detail);
}

TException::TException(const char* message, unsigned long code) : TException()
{
    this->message = MakeText(message);
    this->code = static_cast<uint32_t>(code);
}

TException::TException(const String& message, unsigned long code) : TException()
{
    this->message = MakeText(message);
    this->code = static_cast<uint32_t>(code);
}

TException::TException(const char* message, const char* detail, unsigned long code) : TException()
{
    this->message = MakeText(message);
    this->detail = MakeText(detail);
    this->code = static_cast<uint32_t>(code);
}

TException::TException(const String& message, const String& detail, unsigned long code) : TException()
{
    this->message = MakeText(message);
    this->detail = MakeText(detail);
    this->code = static_cast<uint32_t>(code);
}

TException::TException(const TException& e)
    : AException(e),
      code(e.code),
      drive(e.drive),
      message(e.message ? ShareText(*e.message) : nullptr),
      detail(e.detail ? ShareText(*e.detail) : nullptr)
{
}

TException& TException::operator=(const TException& e)
{
    if (this != &e) {
        AException::operator=(e);
        ReleaseTexts();
        code = e.code;
        drive = e.drive;
        message = e.message ? ShareText(*e.message) : nullptr;
        detail = e.detail ? ShareText(*e.detail) : nullptr;
    }
    return *this;
}

TException::~TException()
{
    ReleaseTexts();
}

void TException::ReleaseTexts()
{
    ReleaseText(message);
    ReleaseText(detail);
}

void TException::NotifyPostHandle(unsigned long handle)
{
    _postHandle = static_cast<uint32_t>(handle);
}

TExceptionThrower::TExceptionThrower(int post) : threadId(kNoThread), window(0)
{
    if (post) {
        if (_postHandle != 0)
            window = _postHandle;
        else
            threadId = _loaderThreadId;
    }
}

void TExceptionThrower::Deliver(const TException& e)
{
    if (threadId == kNoThread && window == 0)
        throw TException(e);
    TException* copy = CopyForPost(e);
    const LPARAM lParam = reinterpret_cast<LPARAM>(copy);
    const BOOL posted = threadId != kNoThread
        ? PostThreadMessageA(threadId, WM_POSTED_EXCEPTION, 0, lParam)
        : PostMessageA(WindowFromWord(window), WM_POSTED_EXCEPTION, 0, lParam);
    // A copy that no queue took has no receiver to end it.
    if (!posted)
        delete copy;
}

void TExceptionThrower::SetAndThrow()
{
    Deliver(TException());
}

void TExceptionThrower::SetAndThrow(const TException& e)
{
    Deliver(e);
}

void TExceptionThrower::SetAndThrow(const char* message)
{
    Deliver(TException(message));
}

void TExceptionThrower::SetAndThrow(const char* message, const char* detail)
{
    Deliver(TException(message, detail));
}

void TExceptionThrower::SetAndThrow(const char* message, unsigned long code)
{
    Deliver(TException(message, code));
}

void TExceptionThrower::SetAndThrow(const char* message, const char* detail, unsigned long code)
{
    Deliver(TException(message, detail, code));
}

void TExceptionThrower::SetAndThrow(const String& message)
{
    SetAndThrow(message.c_str());
}

void TExceptionThrower::SetAndThrow(const String& message, const String& detail)
{
    SetAndThrow(message.c_str(), detail.c_str());
}

void TExceptionThrower::SetAndThrow(const String& message, unsigned long code)
{
    SetAndThrow(message.c_str(), code);
}

void TExceptionThrower::SetAndThrow(const String& message, const String& detail, unsigned long code)
{
    SetAndThrow(message.c_str(), detail.c_str(), code);
}

void TExceptionThrower::SetAndThrow(ResMess id)
{
    const String text(FindString(id.id));
    SetAndThrow(text);
}

void TExceptionThrower::SetAndThrow(ResMess id, ResMess detailId)
{
    const String text(FindString(id.id));
    const String detail(FindString(detailId.id));
    SetAndThrow(text, detail);
}

void TExceptionThrower::SetAndThrow(ResMess id, unsigned long code)
{
    const String text(FindString(id.id));
    SetAndThrow(text, code);
}

void TExceptionThrower::SetAndThrow(ResMess id, ResMess detailId, unsigned long code)
{
    const String text(FindString(id.id));
    const String detail(FindString(detailId.id));
    SetAndThrow(text, detail, code);
}
