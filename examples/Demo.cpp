// The first program to run: a host that uses the library the way an application would.
#include <CommonTarn.h>

#include <cstdio>

int main()
{
    String greeting("Hello");
    std::printf("%s\n", greeting.c_str());
    return 0;
}
