// utgetenv.cpp
#include "utgetenv.h"

#include "basutstr.h"
#include "platform.h"

const char* ut_getenv(const char* name)
{
    return ketriope::platform::os().environment(ut_strdecode(name));
}
