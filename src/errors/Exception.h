// The library's one exception type, TException with its base AException, and
// TExceptionThrower, which either throws an exception or posts a heap copy of it to the
// host's main thread or window.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "text/TextString.h"

// Posted by a thrower in post mode: wParam 0, lParam a TException* (null when there was no
// memory for the copy) that the receiver ends with delete.
constexpr unsigned int WM_POSTED_EXCEPTION = 0x83EB;

// The window that post-mode throwers target, 0 for none; set through
// TException::NotifyPostHandle, by the host at its start, before it starts threads.
extern COMMONTARN_API uint32_t _postHandle;

class COMMONTARN_API AException {
public:
    // Each text object is a String of its own on the string heap sharing the given buffer;
    // it is null when the heap had no room for it.
    AException(const String& why);
    AException(const AException& e);
    ~AException();
    AException& operator=(const AException& e);

    // The text; the empty text when the text object could not be made.
    const String& why() const;
    // Throws a copy of the AException part of this object.
    [[noreturn]] void raise() const;

private:
    String* whyText;
};

// Public fields for the host to read; message and detail are String objects of their own on
// the string heap, owned by the exception, and null for a null or empty text. The base's
// text is always the empty one: the texts stand in message and detail.
class COMMONTARN_API TException : public AException {
public:
    TException();
    TException(const char* message);
    TException(const String& message);
    TException(const char* message, const char* detail);
    TException(const String& message, const String& detail);
    TException(const char* message, unsigned long code);
    TException(const String& message, unsigned long code);
    TException(const char* message, const char* detail, unsigned long code);
    TException(const String& message, const String& detail, unsigned long code);
    // New text objects that share e's buffers.
    TException(const TException& e);
    TException& operator=(const TException& e);
    ~TException();

    // The window that later post-mode throwers target; 0 goes back to the loader thread.
    static void NotifyPostHandle(unsigned long handle);

    uint32_t code;    // system error code, or what the thrower passed; 0 if none
    int32_t drive;    // drive index of a full disk, set directly by its one writer
    String* message;
    String* detail;

private:
    void ReleaseTexts();
};

// A message identifier of the catalogue, passed by value where a text would be.
struct ResMess {
    constexpr ResMess(unsigned int id) : id(id) {}
    unsigned int id;
};

// Throw mode (argument 0) throws a TException. Post mode posts a heap copy of it instead and
// returns: to the window set by NotifyPostHandle if one is set when the thrower is built,
// otherwise to the thread that loaded the library.
class COMMONTARN_API TExceptionThrower {
public:
    enum : uint32_t { kNoThread = 0xFFFFFFFFu };

    explicit TExceptionThrower(int post);
    TExceptionThrower(const TExceptionThrower&) = default;
    TExceptionThrower& operator=(const TExceptionThrower&) = default;

    void SetAndThrow();
    void SetAndThrow(const TException& e);
    void SetAndThrow(const char* message);
    void SetAndThrow(const char* message, const char* detail);
    void SetAndThrow(const char* message, unsigned long code);
    void SetAndThrow(const char* message, const char* detail, unsigned long code);
    void SetAndThrow(const String& message);
    void SetAndThrow(const String& message, const String& detail);
    void SetAndThrow(const String& message, unsigned long code);
    void SetAndThrow(const String& message, const String& detail, unsigned long code);
    // The catalogue's texts of the identifiers.
    void SetAndThrow(ResMess id);
    void SetAndThrow(ResMess id, ResMess detailId);
    void SetAndThrow(ResMess id, unsigned long code);
    void SetAndThrow(ResMess id, ResMess detailId, unsigned long code);

    uint32_t threadId;  // target thread of a post; kNoThread for none
    uint32_t window;    // target window of a post; 0 for none

private:
    void Deliver(const TException& e);
};

// Installs the process-wide out-of-memory handler: a failed operator new, and an exhausted
// NH_Heap, throw one TException with the message "Out of memory" and code 0. Loading the
// library calls it; calling it again changes nothing.
COMMONTARN_API void InitExceptionHandler();

// printf-style text with a line end, given to OutputDebugStringA; at most 998 characters
// of text are kept.
COMMONTARN_API void SendDebugString(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
