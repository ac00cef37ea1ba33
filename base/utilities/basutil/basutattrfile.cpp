// basutattrfile.cpp
#include "basutattrfile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "basutstr.h"

using ketriope::attribute;

namespace {

struct freed {
    void operator()(char* text) const { std::free(text); }
};
using owned_text = std::unique_ptr<char, freed>;

const char* text_or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

const attribute& entry(const void* data)
{
    return *static_cast<const attribute*>(data);
}

}  // namespace

UT_ATTRFILE::~UT_ATTRFILE()
{
    freelist();
}

void UT_ATTRFILE::freedata(void* data)
{
    const std::unique_ptr<attribute> gone(static_cast<attribute*>(data));
    if (gone == nullptr) return;
    std::free(gone->name);
    std::free(gone->value);
}

void UT_ATTRFILE::printdata(void* data)
{
    std::printf("%s = %s\n", text_or_empty(entry(data).name), text_or_empty(entry(data).value));
}

unsigned char UT_ATTRFILE::finddata(void* data, void* key)
{
    return key != nullptr && std::strcmp(text_or_empty(entry(data).name), static_cast<const char*>(key)) == 0;
}

int UT_ATTRFILE::compdata(void* a, void* b)
{
    return std::strcmp(text_or_empty(entry(a).name), text_or_empty(entry(b).name));
}

void UT_ATTRFILE::add(const char* name, const char* value)
{
    owned_text own_name(ut_strdup(text_or_empty(name)));
    owned_text own_value(ut_strdup(text_or_empty(value)));
    auto made = std::make_unique<attribute>(attribute{own_name.get(), own_value.get()});
    append(made.get());
    made.release();  // the list has it now, and with it the texts
    own_name.release();
    own_value.release();
}

const char* UT_ATTRFILE::value_of(const char* name)
{
    void* const found = find(const_cast<char*>(text_or_empty(name)));
    return found != nullptr ? entry(found).value : nullptr;
}
