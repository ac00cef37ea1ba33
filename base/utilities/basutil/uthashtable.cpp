// uthashtable.cpp
#include "uthashtable.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "free_list.h"
#include "hash_bucket.h"

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
constexpr int older(int position) noexcept
{
    return position - static_cast<int>(std::bit_floor(static_cast<unsigned>(position)));
}

}  // namespace

struct utHashTable::hit {
    bucket* where = nullptr;  ///< null for none
    int index = 0;

    explicit operator bool() const { return where != nullptr; }
    void*& element() const { return where->at(index); }
    void* take_out() const
    {
        void* const taken = element();
        where->erase(index, index + 1);
        return taken;
    }
};

utHashTable::utHashTable() : utHashTable(0) {}

utHashTable::utHashTable(int expected)
    : _initialSize(first_table_size(expected)), _buckets(static_cast<int>(_initialSize))
{
}

utHashTable::~utHashTable()
{
    for (int position = 0; position < table_size(); ++position) bucket::release(bucket_at(position));
}

const char* utHashTable::className()
{
    return "utHashTable";
}

int utHashTable::insert(void* data)
{
    const unsigned hash = HashValue(data);
    if (look_up(data, hash)) return _size;
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
    if (!there) return nullptr;
    DecSize();
    return there.take_out();
}

void* utHashTable::remove()
{
    while (_lowest < table_size() && bucket_size(_lowest) == 0) ++_lowest;
    if (_lowest == table_size()) {
        _size = 0;  // whatever a derived class has counted
        return nullptr;
    }
    DecSize();
    return hit{bucket_at(_lowest), 0}.take_out();
}

void* utHashTable::find(int index)
{
    if (index < 0) return nullptr;
    for (int position = _lowest; position < table_size(); ++position) {
        const int here = bucket_size(position);
        if (index < here) return bucket_at(position)->at(index);
        index -= here;
    }
    return nullptr;
}

void* utHashTable::find(void* data)
{
    const hit there = look_up(data, HashValue(data));
    return there ? there.element() : nullptr;
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
    if (position >= _initialSize && position < table_size()) rehash_path(older(position));
}

void utHashTable::RehashBucket(int position)
{
    if (position < 0 || position >= table_size() || bucket_at(position) == nullptr) return;
    Rehash(position);  // the older ones first: should memory run out, all below a current one is current
    std::vector<int> fresh;
    move_out(position, fresh);
    bucket_at(position)->table_size = table_size();
    std::sort(fresh.begin(), fresh.end());  // a path is current from below
    for (const int made : fresh)
        if (is_current_below(made)) bucket_at(made)->table_size = table_size();
}

int utHashTable::bucket_size(int position) const
{
    if (position < 0 || position >= table_size()) return 0;
    const bucket* const found = bucket_at(position);
    return found != nullptr ? found->size() : 0;
}

bool utHashTable::exchange(void* old, void* data)
{
    if (const hit equal = look_up(data, HashValue(data))) {
        if (equal.element() != old) return false;
        equal.element() = data;
        return true;
    }
    utHashTable::insert(data);
    utHashTable::remove(old);
    return true;
}

int utHashTable::position_of(unsigned hash) const
{
    return static_cast<int>(hash & (static_cast<unsigned>(table_size()) - 1));
}

utHashTable::bucket* utHashTable::bucket_at(int position) const
{
    return static_cast<bucket*>(_buckets._buffer[position]);
}

bool utHashTable::is_current(const bucket& some) const
{
    return some.table_size == table_size();
}

/// Whether all buckets on the way from below `position` are current, which the nearest one tells. One that a
/// rehash made and left for want of memory is not, and may hold what belongs at `position`.
bool utHashTable::is_current_below(int position) const
{
    while (position >= _initialSize) {
        position = older(position);
        if (const bucket* const here = bucket_at(position)) return is_current(*here);
    }
    return true;
}

inline utHashTable::hit utHashTable::look_up(void* data, unsigned hash) const
{
    for (int position = position_of(hash);; position = older(position)) {
        if (bucket* const here = bucket_at(position)) {
            const int index = here->index_of(data, _compFun);
            if (index >= 0) return {here, index};
            if (is_current(*here)) return {};
        }
        if (position < _initialSize) return {};
    }
}

/// `Insert` for a hash value that is known.
int utHashTable::add(void* data, unsigned hash)
{
    const int position = position_of(hash);
    const bucket* const there = bucket_at(position);
    if (there != nullptr && !is_current(*there)) RehashBucket(position);
    return push_back(data, position).size();
}

/// Appends `data` to the bucket at `position`. A new one counts as out of date until its path is rehashed.
utHashTable::bucket& utHashTable::push_back(void* data, int position)
{
    void*& there = _buckets._buffer[position];
    if (there == nullptr)
        there = bucket::make();
    else if (bucket_at(position)->is_full())
        there = bucket::grow(bucket_at(position));
    _lowest = std::min(_lowest, position);
    bucket_at(position)->push_back(data);
    return *bucket_at(position);
}

/// Moves the elements that belong elsewhere by now, and tells in `fresh` which buckets were made for them.
///
/// Should memory run out, some have moved and some have not, and all are found: a search does not end in a
/// bucket that is not current.
void utHashTable::move_out(int position, std::vector<int>& fresh)
{
    bucket& from = *bucket_at(position);
    struct closed_gap {
        ~closed_gap() { in.erase(begin, end); }
        bucket& in;
        int begin = 0, end = 0;  ///< what stands between them has moved
    } gap{from};
    for (; gap.end < from.size(); ++gap.end) {
        void* const element = from.at(gap.end);
        const int to = position_of(HashValue(element));
        if (to == position) {
            from.at(gap.begin++) = element;
            continue;
        }
        if (bucket_at(to) == nullptr) fresh.push_back(to);
        push_back(element, to);
    }
}

/// Rehashes the first bucket that is out of date from `position` on downwards, if there is one.
void utHashTable::rehash_path(int position)
{
    for (;; position = older(position)) {
        if (const bucket* const here = bucket_at(position)) {
            if (!is_current(*here)) RehashBucket(position);
            return;
        }
        if (position < _initialSize) return;
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
    for (; _position < _table->table_size(); ++_position, _index = 0) {
        auto* const here = _table->bucket_at(_position);
        if (here == nullptr) continue;
        // Where the element just given was taken out, the next one stands in its place.
        if (_index > here->size())
            _index = here->size();
        else if (_index > 0 && here->at(_index - 1) != _given)
            --_index;
        if (_index < here->size()) return _given = here->at(_index++);
    }
    return nullptr;
}

void* utHashTableGen::operator new(std::size_t size)
{
    return generators.take(size);
}

void utHashTableGen::operator delete(void* object, std::size_t size) noexcept
{
    generators.give(object, size);
}
