// Extensions of the Microsoft C run-time library that the C library here lacks.
#pragma once

#include <stddef.h>

#include "CommonTarnExport.h"

extern "C" {

// Compare after converting both texts to lower case; negative, zero or positive.
COMMONTARN_API int _stricmp(const char* string1, const char* string2);
COMMONTARN_API int _strnicmp(const char* string1, const char* string2, size_t count);

// Convert in place and return the argument.
COMMONTARN_API char* _strupr(char* str);
COMMONTARN_API char* _strlwr(char* str);

// Digits in radix 2 to 36, lower-case letters. A minus sign is written only in radix 10;
// other radixes write the bits of the argument as unsigned of the argument's width.
// The buffer holds up to 8 * sizeof(value) + 2 characters.
COMMONTARN_API char* _itoa(int value, char* buffer, int radix);
COMMONTARN_API char* _ltoa(long value, char* buffer, int radix);
COMMONTARN_API char* _ultoa(unsigned long value, char* buffer, int radix);

}
