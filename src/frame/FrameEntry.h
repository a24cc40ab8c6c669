// The load list and its reverse; the module's entry points call them once each, when the
// system loads and unloads the library.
#pragma once

void FrameLoad();
void FrameUnload();
