// msgterminate.cpp
#include "msgterminate.h"

void msg_throw(int code)
{
    throw code;
}
