// Windows base types, structures and constants with their Windows widths.
#pragma once

#include <stddef.h>
#include <stdint.h>

typedef int BOOL;
typedef unsigned char BYTE;
typedef unsigned short WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int INT;
typedef unsigned int UINT;
typedef char CHAR;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;

// Pointer-sized integers.
typedef uintptr_t DWORD_PTR;
typedef uintptr_t ULONG_PTR;
typedef intptr_t LONG_PTR;
typedef ULONG_PTR SIZE_T;
typedef uintptr_t UINT_PTR;
typedef intptr_t INT_PTR;

typedef void* HANDLE;
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef DWORD* LPDWORD;

// Module handles, a type of their own as well; a module and its instance are one.
struct HINSTANCE__ {
    int unused;
};
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;

#define WINAPI
#define CALLBACK
#ifndef __stdcall
#  define __stdcall
#endif
#ifndef __cdecl
#  define __cdecl
#endif

#ifndef TRUE
#  define TRUE 1
#endif
#ifndef FALSE
#  define FALSE 0
#endif

#define INFINITE 0xFFFFFFFF

typedef union _LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    };
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
} LARGE_INTEGER, *PLARGE_INTEGER;

typedef struct _SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

// Storage for a recursive POSIX mutex; only the functions of the platform layer look inside.
typedef struct _RTL_CRITICAL_SECTION {
    union {
        LONGLONG Alignment;
        BYTE Storage[64];
    } Opaque;
} CRITICAL_SECTION, *PCRITICAL_SECTION, *LPCRITICAL_SECTION;

// Window handles are a type of their own, as with STRICT on Windows.
struct HWND__ {
    int unused;
};
typedef struct HWND__* HWND;
typedef UINT_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;

typedef struct tagPOINT {
    LONG x;
    LONG y;
} POINT, *PPOINT, *LPPOINT;

typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
} MSG, *PMSG, *LPMSG;

// Waits.
#define MAXIMUM_WAIT_OBJECTS 64
#define WAIT_OBJECT_0 0x00000000L
#define WAIT_ABANDONED_0 0x00000080L
#define WAIT_IO_COMPLETION 0x000000C0L
#define WAIT_TIMEOUT 0x00000102L
#define WAIT_FAILED 0xFFFFFFFF

// Threads.
#define CREATE_SUSPENDED 0x00000004
#define STACK_SIZE_PARAM_IS_A_RESERVATION 0x00010000
#define STILL_ACTIVE 259
#define MAXIMUM_SUSPEND_COUNT 0x7F
#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN 0x7FFFFFFF
#define TLS_OUT_OF_INDEXES 0xFFFFFFFF
#define TLS_MINIMUM_AVAILABLE 64

// Messages.
#define WM_NULL 0x0000
#define WM_QUIT 0x0012
#define WM_USER 0x0400
#define WM_APP 0x8000
#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001
#define PM_NOYIELD 0x0002

// Dates: FILETIME counts 100 ns intervals since 1601-01-01 UTC, split in two 32-bit halves.
typedef DWORD LCID;

typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

#define LOCALE_SYSTEM_DEFAULT 0x0800
#define LOCALE_USER_DEFAULT 0x0400
#define DATE_SHORTDATE 0x00000001
#define DATE_LONGDATE 0x00000002

// Windows keeps the processor architecture in the low word of the former OEM id.
typedef struct _SYSTEM_INFO {
    union {
        DWORD dwOemId;
        struct {
            WORD wProcessorArchitecture;
            WORD wReserved;
        };
    };
    DWORD dwPageSize;
    LPVOID lpMinimumApplicationAddress;
    LPVOID lpMaximumApplicationAddress;
    DWORD_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors;
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
} SYSTEM_INFO, *LPSYSTEM_INFO;

#define PROCESSOR_ARCHITECTURE_INTEL 0
#define PROCESSOR_ARCHITECTURE_ARM 5
#define PROCESSOR_ARCHITECTURE_AMD64 9
#define PROCESSOR_ARCHITECTURE_ARM64 12
#define PROCESSOR_ARCHITECTURE_UNKNOWN 0xFFFF

#define PROCESSOR_INTEL_PENTIUM 586
#define PROCESSOR_AMD_X8664 8664

// System error codes, with the values and types of winerror.h.
#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_TOO_MANY_OPEN_FILES 4L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_NOT_SAME_DEVICE 17L
#define ERROR_WRITE_PROTECT 19L
#define ERROR_GEN_FAILURE 31L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_HANDLE_DISK_FULL 39L
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_DISK_FULL 112L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_MOD_NOT_FOUND 126L
#define ERROR_DIR_NOT_EMPTY 145L
#define ERROR_SIGNAL_REFCOUNT_EXCEEDED 156L
#define ERROR_BUSY 170L
#define ERROR_BAD_EXE_FORMAT 193L
#define ERROR_FILENAME_EXCED_RANGE 206L
#define ERROR_FILE_TOO_LARGE 223L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_INVALID_FLAGS 1004L
#define ERROR_IO_DEVICE 1117L
#define ERROR_INVALID_WINDOW_HANDLE 1400L
#define ERROR_INVALID_THREAD_ID 1444L
#define ERROR_NO_SYSTEM_RESOURCES 1450L
#define ERROR_NOT_ENOUGH_QUOTA 1816L
#define ERROR_CANT_RESOLVE_FILENAME 1921L
