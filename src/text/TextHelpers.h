// Free functions around text: splitting into lists, integer arrays as text and back, bounded
// copies for fixed buffers, counting and replacing, and the display forms of sizes and dates.
// None of them holds state.
#pragma once

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "collections/StringItem.h"
#include "text/TextString.h"

// Bounded copies; each leaves dest terminated unless it writes nothing at all.
// size 0: dest is left alone. Otherwise min(strlen(src), size - 1) characters and a terminator.
COMMONTARN_API char* strcpy_n(char* dest, const char* src, unsigned long size);
// size 0: nothing; otherwise up to size - 1 characters, stopping at src's terminator.
COMMONTARN_API void CopyMax(char* dest, const char* src, unsigned int size);
// srcLength bytes when below destSize, else destSize - 1, then a terminator; zero bytes in
// src are copied like any other. destSize 0 writes nothing.
COMMONTARN_API void MakeString(char* dest, unsigned int destSize, const char* src, unsigned int srcLength);

// Occurrences of needle in the first textLength characters of text (a negative textLength
// measures text), without overlap; an empty needle gives 0.
COMMONTARN_API unsigned int FindNumOccurences(const char* needle, const char* text, int textLength);
// Characters equal to c before the terminator.
COMMONTARN_API int CountChar(const char* text, char c);
// Trims by membership in set without copying or writing: bit 0 of mode skips leading members,
// bit 1 drops trailing ones. Answers the start; *length gets the characters to read from it.
COMMONTARN_API const char* FindTrimmedSubString(const char* text, int* length, const char* set, int mode);
// The same on the first textLength characters (a negative textLength measures text).
COMMONTARN_API const char* FindTrimmedSubString(const char* text, int textLength, int* length, const char* set,
                                                int mode);
// h = (h << 2) ^ c over the bytes, sign-extended, in 32 bits on every target: only the last 16
// bytes reach the result.
COMMONTARN_API unsigned long GetHashValue(const String& s);

// In-place replacing and reversing; each answers how many characters it changed. A String
// gets a private buffer before its first change.
COMMONTARN_API unsigned int ReplaceChar(char* text, char oldChar, char newChar);
COMMONTARN_API unsigned int ReplaceChar(String& s, char oldChar, char newChar);
// ReplaceChar for each character of set in turn, adding the counts: a newChar in set may be
// replaced, and counted, again.
COMMONTARN_API unsigned int ReplaceChars(char* text, const char* set, char newChar);
COMMONTARN_API unsigned int ReplaceChars(String& s, const char* set, char newChar);
COMMONTARN_API void Inverse(char* text);
COMMONTARN_API void Inverse(String& s);
// Spaces and tabs off both ends, the start, or the end; the new length.
COMMONTARN_API unsigned int Trim(String& s);
COMMONTARN_API unsigned int TrimStart(String& s);
COMMONTARN_API unsigned int TrimEnd(String& s);

// Empties list, then adds the pieces of text as items on the string heap. With separators,
// any of them divides the text and runs count as one, so no piece is empty. With empty
// separators, text is a sequence of zero-terminated texts ended by two zero bytes. trim not 0
// trims spaces and tabs off each piece and leaves out pieces that become empty.
COMMONTARN_API void ExplodeString(TList<StringItem<TListElement>>& list, const char* text, const char* separators,
                                  int trim);
// The runs of digits 0 to 9 of text as ints (a minus sign separates like any other
// character; a value beyond INT_MAX gives INT_MAX; a run is read up to 99 digits and the rest
// of it is skipped). The array comes from NH_Heap::Default() and is the caller's, to give back
// with NH_Heap::FreeMem; null when there is no number.
COMMONTARN_API int* StringToIntArray(const char* text, int* count);
// The decimal texts of values with separator between them; empty when count is below 1.
COMMONTARN_API String IntArrayToString(const int* values, int count, char separator);

// Sizes in decimal units, truncated: "999 B", "1 kB", "1.9 MB". The buffer form writes at
// most kFileSizeBufferSize bytes, enough for every size below 2^32.
constexpr unsigned int kFileSizeBufferSize = 10;
COMMONTARN_API void GetStringFileSize(unsigned long size, char* buffer);
COMMONTARN_API String GetStringFileSize(unsigned long size);
// Sizes in units of 1024 with two decimals: "1023.00 B", "1.50 KB", "1.00 MB", "2.00 GB".
COMMONTARN_API String ByteSizeToString(double size);

// The DOS date word (bits 0-4 day, 5-8 month, 9-15 years since 1980) as dd/MM/yyyy, whatever
// the user's settings. An invalid date or a buffer too small leaves an empty text.
COMMONTARN_API char* GetDateString(unsigned short date, char* buffer, int bufferSize);
COMMONTARN_API String GetDateString(unsigned short date);
