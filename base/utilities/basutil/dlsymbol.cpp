// dlsymbol.cpp
#include "dlsymbol.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "ascii.h"
#include "basutsmallmutex.h"
#include "free_list.h"

struct dl_SymTableEntry {
    std::string text;
    std::atomic<int> references;  ///< kept for a look by a debugger; an entry stays when it is 0
};

namespace {

/// FNV-1a in its 64-bit form.
constexpr std::uint64_t fnv_1a(std::string_view text) noexcept
{
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    return hash;
}
static_assert(fnv_1a("") == 0xCBF29CE484222325U && fnv_1a("a") == 0xAF63DC4C8601EC8CU &&
              fnv_1a("foobar") == 0x85944171F73967E8U);

constexpr std::string_view text_of(std::string_view text) noexcept
{
    return text;
}

std::string_view text_of(const dl_SymTableEntry* entry) noexcept
{
    return entry->text;
}

struct hash_text {
    using is_transparent = void;
    std::size_t operator()(auto key) const noexcept { return fnv_1a(text_of(key)); }
};

struct equal_text {
    using is_transparent = void;
    bool operator()(auto one, auto other) const noexcept { return text_of(one) == text_of(other); }
};

constinit ketriope::free_list handles{sizeof(dl_Symbol)};
constinit ketriope::small_mutex table_lock;  ///< of the table; its entries never go

std::unordered_set<dl_SymTableEntry*, hash_text, equal_text>& table()
{
    static auto& made = *new std::unordered_set<dl_SymTableEntry*, hash_text, equal_text>;
    return made;
}

/// The entry for `text` with one more reference.
dl_SymTableEntry* taken(const char* text)
{
    const std::string_view key = text != nullptr ? text : "";
    const std::lock_guard held(table_lock);
    auto found = table().find(key);
    if (found == table().end()) found = table().insert(new dl_SymTableEntry{std::string(key), 0}).first;
    ++(*found)->references;
    return *found;
}

dl_SymTableEntry* taken(dl_SymTableEntry* entry)
{
    if (entry != nullptr) entry->references.fetch_add(1, std::memory_order_relaxed);
    return entry;
}

void let_go(dl_SymTableEntry* entry)
{
    if (entry != nullptr) entry->references.fetch_sub(1, std::memory_order_relaxed);
}

std::string lower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), ketriope::to_lower);
    return result;
}

}  // namespace

dl_Symbol::dl_Symbol(const char* text) : entry_(taken(text)) {}

dl_Symbol::dl_Symbol(const dl_Symbol& other) : entry_(taken(other.entry_)) {}

dl_Symbol& dl_Symbol::operator=(const dl_Symbol& other)
{
    if (entry_ != other.entry_) let_go(std::exchange(entry_, taken(other.entry_)));
    return *this;
}

dl_Symbol& dl_Symbol::operator=(const char* text)
{
    let_go(std::exchange(entry_, taken(text)));
    return *this;
}

dl_Symbol::~dl_Symbol()
{
    let_go(std::exchange(entry_, nullptr));
}

const char* dl_Symbol::c_str() const
{
    return entry_ != nullptr ? entry_->text.c_str() : nullptr;
}

int dl_Symbol::compare(const char* text, int ignoreCase) const
{
    const std::string_view own = entry_ != nullptr ? std::string_view(entry_->text) : "";
    const std::string_view other = text != nullptr ? text : "";
    return ignoreCase != 0 ? lower(own).compare(lower(other)) : own.compare(other);
}

void* dl_Symbol::operator new(std::size_t size)
{
    return handles.take(size);
}

void dl_Symbol::operator delete(void* object, std::size_t size) noexcept
{
    handles.give(object, size);
}
