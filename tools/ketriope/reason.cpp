// reason.cpp
#include "reason.h"

#include <cerrno>

namespace ketriope::tool {

std::string reason_of(int error)
{
    switch (error) {
    case ENOENT: return "there is no such file";
    case ENOTDIR: return "a part of its path is not a directory";
    case EISDIR: return "it is a directory";
    case EACCES:
    case EPERM: return "permission denied";
    case ENAMETOOLONG: return "its name is too long";
    case ELOOP: return "its path runs in a circle of links";
    case EROFS: return "the disk can only be read";
    case ENOSPC:
    case EDQUOT: return "the disk is full";
    case EFBIG: return "it grows larger than a file may be";
    case EIO: return "the device failed";
    default: return "the system gives error " + std::to_string(error);
    }
}

}  // namespace ketriope::tool
