// What the frame keeps for the exceptions: the prototype every TException starts from, and
// the empty text it is built on. Both live from load to unload.
#pragma once

class AException;
class String;

const AException& GetExceptionPrototype();
const String& GetEmptyWhy();
