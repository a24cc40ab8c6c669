// Modules of translated strings: a string table in resource script form, the text that
// windres compiles into a resource DLL on Windows, loaded here as it stands.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// Loads a resource script holding STRINGTABLE blocks (comments, preprocessor lines and
// LANGUAGE statements are skipped; ids are numbers; strings take the escapes of windres).
// Loading one file again gives the same handle and one more reference. Null on failure,
// with ERROR_MOD_NOT_FOUND for a file that cannot be read and ERROR_BAD_EXE_FORMAT for one
// that is not such a script.
COMMONTARN_API HMODULE LoadLibraryA(LPCSTR lpLibFileName);

// Drops one reference; the last one unloads the module. FALSE with ERROR_INVALID_HANDLE for
// a handle that names no loaded module.
COMMONTARN_API BOOL FreeLibrary(HMODULE hLibModule);

// Copies string uID (its low 16 bits, as on Windows) of the module, cut to cchBufferMax - 1
// characters, and a terminator; answers the characters copied. 0 for a string the module
// lacks, an empty one, a null module (a program carries no string table here) or a
// cchBufferMax below 1, which Windows does not allow.
COMMONTARN_API int LoadStringA(HINSTANCE hInstance, UINT uID, LPSTR lpBuffer, int cchBufferMax);

}
