// utsymbol.cpp
#include "utsymbol.h"

#include <cstring>
#include <utility>

#include "free_list.h"
#include "utstringpool.h"

namespace {

constinit ketriope::free_list symbols{sizeof(utSymbol)};

}  // namespace

utSymbol::utSymbol(const char* text) : _text(newRefString(text)) {}

utSymbol::utSymbol(const utSymbol& other) : utSymbol(other._text) {}

utSymbol& utSymbol::operator=(const utSymbol& other)
{
    return *this = other._text;
}

utSymbol& utSymbol::operator=(const char* text)
{
    delRefString(std::exchange(_text, newRefString(text)));  // in this order: `text` may be our own
    return *this;
}

utSymbol::~utSymbol()
{
    delRefString(_text);
}

int utSymbol::compareTo(const char* text) const
{
    return std::strcmp(_text != nullptr ? _text : "", text != nullptr ? text : "");
}

void* utSymbol::operator new(std::size_t size)
{
    return symbols.take(size);
}

void utSymbol::operator delete(void* object, std::size_t size) noexcept
{
    symbols.give(object, size);
}
