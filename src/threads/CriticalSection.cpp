// TCriticalSection over the platform's critical section.
#include "threads/CriticalSection.h"

#include <new>

#include "TarnPlatform.h"

namespace {

CRITICAL_SECTION* SectionIn(unsigned char* storage)
{
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}

}  // namespace

TCriticalSection::TCriticalSection()
{
    static_assert(sizeof(CRITICAL_SECTION) <= sizeof storage, "the storage must hold a CRITICAL_SECTION");
    static_assert(alignof(CRITICAL_SECTION) <= 8, "the storage must be aligned for a CRITICAL_SECTION");
    Init();
}

TCriticalSection::TCriticalSection(const TCriticalSection&)
{
    Init();
}

TCriticalSection::~TCriticalSection()
{
    DeleteCriticalSection(SectionIn(storage));
}

TCriticalSection& TCriticalSection::operator=(const TCriticalSection& source)
{
    if (this != &source) {
        DeleteCriticalSection(SectionIn(storage));
        Init();
    }
    return *this;
}

void TCriticalSection::Enter() const
{
    EnterCriticalSection(SectionIn(storage));
}

void TCriticalSection::Leave() const
{
    LeaveCriticalSection(SectionIn(storage));
}

void TCriticalSection::Init() const
{
    InitializeCriticalSection(::new (static_cast<void*>(storage)) CRITICAL_SECTION());
}
