// The failure reports that the library's file classes share: a catalogue text with the
// name of a file in it, and the report of a full disk.
#pragma once

class String;

// Message id, its %s replaced by name (the result cut at 1023 characters), with code.
[[noreturn]] void ThrowFileMessage(unsigned int id, unsigned long code, const String& name);
// For the codes of a full disk (39, 112): message 18019 naming the drive of name, with the
// drive's index in the exception's drive field. Any other code returns, and the caller
// reports its own failure.
void ThrowIfDiskFull(unsigned long code, const String& name);
