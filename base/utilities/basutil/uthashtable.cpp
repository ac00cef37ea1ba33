// uthashtable.cpp
#include "uthashtable.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "free_list.h"

namespace {

constexpr int k_fewest_buckets = 16;
constexpr int k_most_first_buckets = 1048576;
constexpr int k_crowd = 7;  ///< elements of a bucket and, on the average, of all, that a table bears

constinit ketriope::free_list generators{sizeof(utHashTableGen)};

constexpr int first_table_size(int expected) noexcept
{
    const std::int64_t k = (std::int64_t{expected} + 15) / 32;
    if (k <= k_fewest_buckets) return k_fewest_buckets;
    return std::min(2 * static_cast<int>(std::bit_floor(static_cast<unsigned>(k))), k_most_first_buckets);
}
static_assert(first_table_size(528) == 16 && first_table_size(529) == 32 && first_table_size(1200) == 64);
static_assert(first_table_size(-1) == 16 && first_table_size(2147483647) == 1048576);

/// Where an element stood when the table was too small for `position`, which is not 0.
constexpr unsigned older(unsigned position) noexcept
{
    return position - std::bit_floor(position);
}

}  // namespace

struct utHashTable::bucket {
    std::int32_t table_size = 0;  ///< at the last rehash; 0, which no table has, before the first one
    utQueue elements;
};

struct utHashTable::hit {
    bucket* where = nullptr;
    utList::place at;
    bool found() const { return at.node != nullptr; }
};

utHashTable::utHashTable() : utHashTable(0) {}

utHashTable::utHashTable(int expected)
    : _initialSize(first_table_size(expected)), _buckets(static_cast<int>(_initialSize))
{
}

utHashTable::~utHashTable()
{
    std::for_each_n(_buckets._buffer, table_size(), [](void* made) { delete static_cast<bucket*>(made); });
}

const char* utHashTable::className()
{
    return "utHashTable";
}

int utHashTable::insert(void* data)
{
    const unsigned hash = HashValue(data);
    if (look_up(data, hash).found()) return _size;
    const int in_bucket = add(data, hash);
    IncSize();
    try {
        if (in_bucket > k_crowd && _size > std::int64_t{k_crowd} * table_size())
            _buckets.resize(2 * table_size(), nullptr);
        rehash_path(position_of(hash));
    } catch (const std::bad_alloc&) {
        // The element is in its place, and every other is found where it is; a later insertion tries again.
    }
    return _size;
}

void* utHashTable::remove(void* data)
{
    const hit there = look_up(data, HashValue(data));
    if (!there.found()) return nullptr;
    DecSize();
    return there.where->elements.take(there.at);
}

void* utHashTable::remove()
{
    while (_lowest < table_size() && bucket_size(_lowest) == 0) ++_lowest;
    if (_lowest == table_size()) return nullptr;
    DecSize();
    return bucket_at(static_cast<unsigned>(_lowest))->elements.remove();
}

void* utHashTable::find(int index)
{
    if (index < 0) return nullptr;
    for (int position = _lowest; position < table_size(); ++position) {
        const int here = bucket_size(position);
        if (index < here) return bucket_at(static_cast<unsigned>(position))->elements.find(index);
        index -= here;
    }
    return nullptr;
}

void* utHashTable::find(void* data)
{
    const hit there = look_up(data, HashValue(data));
    return there.found() ? there.at.node->data : nullptr;
}

void* utHashTable::replace(void* data, int index)
{
    if (index < 0 || index >= _size) return nullptr;
    void* const old = utHashTable::find(index);
    return exchange(old, data) ? old : nullptr;
}

utColGen* utHashTable::newGen()
{
    return new utHashTableGen(this);
}

int utHashTable::Insert(void* data)
{
    return add(data, HashValue(data));
}

void utHashTable::Rehash(int position)
{
    if (position >= _initialSize && position < table_size())
        rehash_path(older(static_cast<unsigned>(position)));
}

void utHashTable::RehashBucket(int position)
{
    if (position < 0 || position >= table_size()) return;
    bucket* const from = bucket_at(static_cast<unsigned>(position));
    if (from == nullptr) return;
    Rehash(position);  // the older ones first: should memory run out, all below a current one is current
    std::vector<unsigned> positions;
    positions.reserve(static_cast<std::size_t>(from->elements._size));
    for (const Element* node = from->elements._head; node != nullptr; node = node->next) {
        positions.push_back(position_of(HashValue(node->data)));
        make_bucket_at(positions.back());
    }
    // From here on nothing fails.
    from->table_size = table_size();
    Element* node = from->elements.take_all();
    for (const unsigned to : positions) {
        bucket_at(to)->table_size = table_size();
        append(to, std::exchange(node, node->next));
    }
}

int utHashTable::bucket_size(int position) const
{
    if (position < 0 || position >= table_size()) return 0;
    const bucket* const found = bucket_at(static_cast<unsigned>(position));
    return found != nullptr ? found->elements._size : 0;
}

bool utHashTable::exchange(void* old, void* data)
{
    const hit equal = look_up(data, HashValue(data));
    if (equal.found()) {
        if (equal.at.node->data != old) return false;
        equal.at.node->data = data;
        return true;
    }
    utHashTable::insert(data);
    utHashTable::remove(old);
    return true;
}

unsigned utHashTable::position_of(unsigned hash) const
{
    return hash & (static_cast<unsigned>(table_size()) - 1);
}

utHashTable::bucket* utHashTable::bucket_at(unsigned position) const
{
    return static_cast<bucket*>(_buckets._buffer[position]);
}

/// The bucket there. A new one counts as out of date until its path is rehashed.
utHashTable::bucket& utHashTable::make_bucket_at(unsigned position)
{
    void*& made = _buckets._buffer[position];
    if (made == nullptr) {
        auto fresh = std::make_unique<bucket>();
        fresh->elements.setDelFun(_delFun);
        fresh->elements.setCompFun(_compFun);
        made = fresh.release();
    }
    return *static_cast<bucket*>(made);
}

bool utHashTable::is_current(const bucket& some) const
{
    return some.table_size == table_size();
}

utHashTable::hit utHashTable::look_up(void* data, unsigned hash) const
{
    for (unsigned position = position_of(hash);; position = older(position)) {
        bucket* const here = bucket_at(position);
        if (here != nullptr) {
            const utList::place at = here->elements.place_of(data);
            if (at.node != nullptr) return {here, at};
            if (is_current(*here)) return {};
        }
        if (position < static_cast<unsigned>(_initialSize)) return {};
    }
}

/// `Insert` for a hash value that is known.
int utHashTable::add(void* data, unsigned hash)
{
    const unsigned position = position_of(hash);
    bucket& target = make_bucket_at(position);
    auto node = std::make_unique<Element>(data);
    if (target.table_size != 0 && !is_current(target)) RehashBucket(static_cast<int>(position));
    append(position, node.release());
    return target.elements._size;
}

void utHashTable::append(unsigned position, Element* node) noexcept
{
    utQueue& elements = bucket_at(position)->elements;
    elements.link(elements._tail, node);
    _lowest = std::min(_lowest, static_cast<std::int32_t>(position));
}

/// Rehashes the first bucket that is out of date from `position` on downwards, if there is one.
void utHashTable::rehash_path(unsigned position)
{
    for (;; position = older(position)) {
        const bucket* const here = bucket_at(position);
        if (here != nullptr) {
            if (!is_current(*here)) RehashBucket(static_cast<int>(position));
            return;
        }
        if (position < static_cast<unsigned>(_initialSize)) return;
    }
}

utLinkedHashTable::utLinkedHashTable(int expected) : utHashTable(expected) {}

utLinkedHashTable::~utLinkedHashTable() = default;

const char* utLinkedHashTable::className()
{
    return "utLinkedHashTable";
}

int utLinkedHashTable::insert(void* data)
{
    const int before = _size;
    if (utHashTable::insert(data) == before) return before;
    try {
        _order.insert(data);
    } catch (const std::bad_alloc&) {
        utHashTable::remove(data);
        throw;
    }
    return _size;
}

void* utLinkedHashTable::remove(void* data)
{
    const int before = _size;
    void* const removed = utHashTable::remove(data);
    if (_size != before) _order.remove(removed);
    return removed;
}

void* utLinkedHashTable::remove()
{
    if (_order.Size() == 0) return utHashTable::remove();  // for comparisons that contradict themselves
    void* const oldest = _order.remove();
    utHashTable::remove(oldest);
    return oldest;
}

void* utLinkedHashTable::find(int index)
{
    return _order.find(index);
}

void* utLinkedHashTable::replace(void* data, int index)
{
    if (index < 0 || index >= _order.Size()) return nullptr;
    return exchange(_order.find(index), data) ? _order.replace(data, index) : nullptr;
}

utColGen* utLinkedHashTable::newGen()
{
    return new utListGen(&_order);
}

utHashTableGen::utHashTableGen(utHashTable* table) : _table(table) {}

const char* utHashTableGen::className()
{
    return "utHashTableGen";
}

void* utHashTableGen::next()
{
    if (_table == nullptr) return nullptr;
    while (_elements._next == nullptr) {
        if (_position >= _table->table_size()) return nullptr;
        auto* const here = _table->bucket_at(static_cast<unsigned>(_position++));
        if (here != nullptr) _elements = utListGen(&here->elements);
    }
    return _elements.next();
}

void* utHashTableGen::operator new(std::size_t size)
{
    return generators.take(size);
}

void utHashTableGen::operator delete(void* object, std::size_t size) noexcept
{
    generators.give(object, size);
}
