// utarray.cpp
#include "utarray.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "free_list.h"

namespace {

constexpr int k_segment = 16;  ///< places of a segment, but for the first of a given capacity

constinit ketriope::free_list generators{sizeof(utArrayGen)};

}  // namespace

struct utArray::stretch {
    void** begin = nullptr;
    int count = 0;
};

/// So that no operation walks the chain.
struct utArray::chained final : utArray {
    std::vector<utArray*> all;  ///< the segments behind the first one, this one among them
};

utArray::utArray() : utArray(k_segment) {}

utArray::utArray(int capacity)
    : _capacity(std::max(capacity, 0)), _buffer(new void* [static_cast<std::size_t>(_capacity)] {})
{
}

utArray::~utArray()
{
    drop_chain();
    delete[] _buffer;
}

const char* utArray::className()
{
    return "utArray";
}

void* utArray::first()
{
    return find(0);
}

void* utArray::last()
{
    return find(_size - 1);
}

int utArray::insert(void* data)
{
    stretch free = stretch_from(_size);
    for (; free.count == 0; free = stretch_from(_size)) chain_on();
    free.begin[0] = data;
    return IncSize();
}

void* utArray::remove(void* data)
{
    if (const int index = Find(data); index >= 0) {
        Shift(index);
        DecSize();
    }
    return data;
}

void* utArray::remove()
{
    void* const removed = find(_size - 1);
    Shift(_size - 1);
    DecSize();
    return removed;
}

void* utArray::find(int index)
{
    if (index < 0 || index >= _size) return nullptr;
    const stretch found = stretch_from(index);
    return found.count > 0 ? *found.begin : nullptr;
}

void* utArray::find(void* data)
{
    const int index = Find(data);
    if (index < _capacity) return index < 0 ? nullptr : _buffer[0];
    return find(index - (index - _capacity) % k_segment);
}

void* utArray::replace(void* data, int index)
{
    if (index < 0 || index >= _size) return nullptr;
    const stretch found = stretch_from(index);
    return found.count > 0 ? std::exchange(*found.begin, data) : nullptr;
}

utColGen* utArray::newGen()
{
    return new utArrayGen(this);
}

void utArray::resize(int capacity, void* fill)
{
    if (capacity < 0) return;
    std::unique_ptr<void*[]> places(new void*[static_cast<std::size_t>(capacity)]);
    int kept = 0;
    for (stretch from; kept < capacity && (from = stretch_from(kept)).count > 0; kept += from.count) {
        from.count = std::min(from.count, capacity - kept);
        std::copy_n(from.begin, from.count, &places[static_cast<std::size_t>(kept)]);
    }
    std::fill(&places[0] + kept, &places[0] + capacity, fill);
    drop_chain();
    delete[] std::exchange(_buffer, places.release());
    _capacity = capacity;
    _size = std::min(_size, _capacity);
}

int utArray::Find(void* data)
{
    const auto equals = [&](void* element) {
        return _compFun != nullptr ? _compFun(element, data) == 0 : element == data;
    };
    stretch part;
    for (int index = 0; index < _size && (part = stretch_from(index)).count > 0; index += part.count) {
        void** const end = part.begin + std::min(part.count, _size - index);
        void** const found = std::find_if(part.begin, end, equals);
        if (found != end) return index + static_cast<int>(found - part.begin);
    }
    return -1;
}

void utArray::Shift(int index)
{
    if (index < 0) return;
    for (stretch part; index < _size && (part = stretch_from(index)).count > 0; index += part.count) {
        part.count = std::min(part.count, _size - index);
        std::copy(part.begin + 1, part.begin + part.count, part.begin);
        part.begin[part.count - 1] = find(index + part.count);
    }
}

/// The places of one segment from `index` on; none behind the last segment.
utArray::stretch utArray::stretch_from(int index) const
{
    if (index < _capacity) return {_buffer + index, _capacity - index};
    if (_next == nullptr) return {};
    const auto& all = static_cast<chained*>(_next)->all;
    const auto segment = static_cast<std::size_t>((index - _capacity) / k_segment);
    const int offset = (index - _capacity) % k_segment;
    if (segment >= all.size()) return {};
    return {all[segment]->_buffer + offset, k_segment - offset};
}

void utArray::chain_on()
{
    if (_next == nullptr) {
        auto first = std::make_unique<chained>();
        first->all.push_back(first.get());
        _next = first.release();
        return;
    }
    auto& all = static_cast<chained*>(_next)->all;
    auto segment = std::make_unique<utArray>();
    all.push_back(segment.get());
    all[all.size() - 2]->_next = segment.release();
}

void utArray::drop_chain() noexcept
{
    for (utArray* segment = std::exchange(_next, nullptr); segment != nullptr;) {
        utArray* const behind = std::exchange(segment->_next, nullptr);
        delete segment;
        segment = behind;
    }
}

utArrayGen::utArrayGen(utArray* array) : _array(array) {}

const char* utArrayGen::className()
{
    return "utArrayGen";
}

void* utArrayGen::next()
{
    return _array != nullptr && _index < _array->Size() ? _array->find(_index++) : nullptr;
}

void* utArrayGen::operator new(std::size_t size)
{
    return generators.take(size);
}

void utArrayGen::operator delete(void* object, std::size_t size) noexcept
{
    generators.give(object, size);
}
