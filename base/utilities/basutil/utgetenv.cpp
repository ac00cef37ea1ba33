// utgetenv.cpp
#include "utgetenv.h"

#include "basutstr.h"
#include "masking.h"
#include "platform.h"

const char* ut_getenv(const char* name)
{
    // A plain name needs no slot of the decoded texts, so that any number of threads may ask at a time.
    const bool plain = name != nullptr && !ketriope::is_masked(*name);
    return ketriope::platform::os().environment(plain ? name : ut_strdecode(name));
}
