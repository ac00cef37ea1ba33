// bench/load/with_library.cpp: loads the library, uses one word of it, and ends.
#include "msgman.h"

int main()
{
    return ut_msgman == nullptr;
}
