#include <CommonTarn.h>

#include <cstdio>

int main()
{
    String name("consumer");
    String copy(name);
    copy += " works";
    const int ok = name == "consumer" && copy == "consumer works" &&
                   ComputeCrc32("abc", 3) == 0x352441C2ul;
    std::printf("%s\n", ok ? copy.c_str() : "consumer failed");
    return ok ? 0 : 1;
}
