// utstringpool.cpp
#include "utstringpool.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "free_list.h"
#include "heap_text.h"
#include "msgman.h"
#include "platform.h"

namespace {

constexpr int k_global_pool = 1200;  ///< strings that the process's pool expects
constexpr std::size_t k_kept_entries = 10;
/// A count that has come this far stays, so that it is never taken for less than it is.
constexpr std::int32_t k_countless = std::numeric_limits<std::int32_t>::max();

constinit ketriope::free_list entries{sizeof(utStringHashPoolEle), k_kept_entries};

const char* text_of(void* entry)
{
    const char* const text = entry != nullptr ? static_cast<utStringHashPoolEle*>(entry)->text : nullptr;
    return text != nullptr ? text : "";
}

unsigned hash_of(void* entry)
{
    unsigned hash = 0;
    for (const char* text = text_of(entry); *text != '\0'; ++text)
        hash = hash * 997U + static_cast<unsigned>(static_cast<signed char>(*text));
    return hash;
}

int compare(void* a, void* b)
{
    return std::strcmp(text_of(a), text_of(b));
}

void release(void* element)
{
    auto* const entry = static_cast<utStringHashPoolEle*>(element);
    if (entry != nullptr) std::free(entry->text);
    delete entry;
}

struct releaser {
    void operator()(utStringHashPoolEle* entry) const noexcept { release(entry); }
};

/// What is looked for: an entry that does not own its text.
utStringHashPoolEle key_for(const char* text)
{
    utStringHashPoolEle key;
    key.text = const_cast<char*>(text);  // it is only compared
    return key;
}

void tell(const char* text, const char* middle = "", const char* end = "")
{
    if (ut_msgman != nullptr) *ut_msgman << text << middle << end;
}

/// The lines of `statistic` about the entries.
std::string entry_lines(utStringHashPool& pool)
{
    std::string lines;
    std::int64_t references = 0;
    int negative = 0, none = 0, one = 0;
    utGenerator all(pool);
    for (int left = pool.Size(); left > 0; --left) {
        auto* const entry = static_cast<utStringHashPoolEle*>(all.next());
        const std::int32_t count = entry != nullptr ? entry->refCount : 0;
        references += count;
        negative += static_cast<int>(count < 0);
        none += static_cast<int>(count == 0);
        one += static_cast<int>(count == 1);
        lines.append(" String: ").append(text_of(entry));
        lines.append(" Reference Count: ").append(std::to_string(count)).append("\n");
    }
    lines.append("Total number of string elements: ").append(std::to_string(pool.Size()));
    lines.append("\n Total Reference: ").append(std::to_string(references));
    lines.append("; Neg Ref: ").append(std::to_string(negative));
    lines.append("; Zero Ref: ").append(std::to_string(none));
    return lines.append(" element; One Ref: ").append(std::to_string(one)).append(" element;\n");
}

}  // namespace

void* utStringHashPoolEle::operator new(std::size_t size)
{
    return entries.take(size);
}

void utStringHashPoolEle::operator delete(void* object, std::size_t size) noexcept
{
    entries.give(object, size);
}

utStringHashPool::utStringHashPool() : utStringHashPool(0) {}

utStringHashPool::utStringHashPool(int expected) : utHashTable(expected)
{
    setHashFun(hash_of);
    setCompFun(compare);
    setDelFun(release);
}

utStringHashPool::~utStringHashPool() = default;

const char* utStringHashPool::className()
{
    return "utStringHashPool";
}

const char* utStringHashPool::getReference(const char* text)
{
    const utStringHashPoolEle* const entry = getReferenceElement(text);
    return entry != nullptr ? entry->text : nullptr;
}

utStringHashPoolEle* utStringHashPool::getReferenceElement(const char* text)
{
    if (text == nullptr) return nullptr;
    utStringHashPoolEle key = key_for(text);
    auto* entry = static_cast<utStringHashPoolEle*>(find(&key));
    if (entry == nullptr) {
        std::unique_ptr<utStringHashPoolEle, releaser> made(new utStringHashPoolEle);
        made->text = ketriope::heap_copy(text).release();
        insert(made.get());
        entry = made.release();
    }
    if (entry->refCount != k_countless) ++entry->refCount;
    return entry;
}

void utStringHashPool::delReference(const char* text)
{
    if (text == nullptr) return;
    utStringHashPoolEle key = key_for(text);
    auto* const entry = static_cast<utStringHashPoolEle*>(find(&key));
    if (entry == nullptr) return tell("user specified string '", text, "' does not exist in string pool\n");
    if (entry->refCount <= 0) return tell("user specified string '", text, "' has no reference\n");
    if (entry->refCount == k_countless || --entry->refCount > 0) return;
    remove(entry);
    if (delFun() != nullptr) delFun()(entry);
}

void utStringHashPool::statistic(const char* file)
{
    const std::string text = bucket_line() + entry_lines(*this);
    tell(text.c_str());
    if (file == nullptr) return;
    std::FILE* const out = ketriope::platform::os().open_stream(file, "w");
    if (out == nullptr) return;
    std::fwrite(text.data(), 1, text.size(), out);
    std::fclose(out);
}

/// The line of `statistic` about the buckets: how many have 0, 1, ... 5 elements, and how many more.
std::string utStringHashPool::bucket_line() const
{
    std::array<int, 7> with{};
    for (int position = 0; position < table_size(); ++position)
        ++with[static_cast<std::size_t>(std::min(bucket_size(position), 6))];
    std::string line = "Number of Bucket: " + std::to_string(table_size()) + "; [0:1:2:3:4:5:6]=";
    char between = '[';
    for (const int buckets : with) {
        line += std::exchange(between, ':');
        line += std::to_string(buckets);
    }
    return line + "]\n";
}

utStringHashPool* utStringHashPool::getGlobalPool()
{
    static auto* const pool = new utStringHashPool(k_global_pool);
    return pool;
}

const char* utStringHashPool::newRefString(const char* text)
{
    return getGlobalPool()->getReference(text);
}

void utStringHashPool::delRefString(const char* text)
{
    getGlobalPool()->delReference(text);
}
