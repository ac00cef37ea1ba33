// platform.cpp: which table of operations is in use.
#include "platform.h"

namespace ketriope::platform {
namespace {
constinit const operations* replaced = nullptr;
}

const operations& os() noexcept
{
    return replaced != nullptr ? *replaced : native();
}

void use_operations(const operations* table) noexcept
{
    replaced = table;
}

}  // namespace ketriope::platform
