// utcollection.cpp
#include "utcollection.h"

#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>

namespace {

void* without_order(const char* operation, const char* class_name)
{
    std::printf("unsupported AIM '%s' is called from class %s\n", operation, class_name);
    std::fflush(stdout);
    return nullptr;
}

}  // namespace

utCollection::~utCollection() = default;

const char* utCollection::className()
{
    return "utCollection";
}

void* utCollection::first()
{
    return without_order("first", className());
}

void* utCollection::last()
{
    return without_order("last", className());
}

void utCollection::clear()
{
    while (_size > 0) remove();
}

int utCollection::IncSize()
{
    if (_size < std::numeric_limits<std::int32_t>::max()) ++_size;
    return _size;
}

int utCollection::DecSize()
{
    if (_size > 0) --_size;
    return _size;
}

int utCollection::Compare(void* a, void* b) const
{
    if (_compFun != nullptr) return _compFun(a, b);
    const auto left = reinterpret_cast<std::uintptr_t>(a);
    const auto right = reinterpret_cast<std::uintptr_t>(b);
    return static_cast<int>(left > right) - static_cast<int>(left < right);
}

utColGen::~utColGen() = default;

const char* utColGen::className()
{
    return "utColGen";
}

utGenerator::utGenerator(utCollection& collection) : _gen(collection.newGen()) {}

utGenerator::~utGenerator()
{
    delete _gen;
}

void utGenerator::initGen(utCollection& collection)
{
    delete std::exchange(_gen, nullptr);
    _gen = collection.newGen();
}

void* utGenerator::next()
{
    return _gen != nullptr ? _gen->next() : nullptr;
}

const char* utGenerator::className() const
{
    return "utGenerator";
}
