// basuthash.cpp
#include "basuthash.h"

#include <cstdlib>
#include <new>

#include "basutform.h"
#include "contract.h"
#include "msgterminate.h"
#include "prefetch.h"
#include "utmsgmanager.h"

namespace {

/// Keeps the report as an error status and throws what that returned, its sign turned. These sites know
/// the message database only, whatever `UT_MSGMAN::m_msgFlow` says.
[[noreturn]] void refuse(const char* text,
                         ketriope::source_location at = ketriope::source_location::current())
{
    msgManager messages("common");
    msg_throw(-messages.postErrorStatus("0000", "basuthash", static_cast<int>(at.line()), text));
}

/// What `malloc` or `calloc` gave, so that running out of memory comes back here.
template <class T>
T* checked(void* block)
{
    if (block == nullptr) refuse("system runs out of memory");
    return static_cast<T*>(block);
}

}  // namespace

UT_HASH::UT_HASH(unsigned long buckets, unsigned char owner)
    : buckets_(static_cast<std::uint32_t>(buckets)), table_(nullptr), owner_(owner)
{
    if (buckets_ == 0) refuse(zeoform("invalid bucket count: %d", static_cast<int>(buckets_)));
    table_ = checked<entry*>(std::calloc(buckets_, sizeof(void*)));
}

UT_HASH::~UT_HASH()
{
    process_and_kill(1, nullptr);
    std::free(table_);
}

void UT_HASH::add(const void* key, void* data)
{
    entry** const bucket = bucket_of(key);
    auto* const added = checked<entry>(std::malloc(sizeof(entry)));
    *bucket = new (added) entry{*bucket, data != nullptr ? data : const_cast<void*>(key)};
    ++count_;
}

inline void* UT_HASH::find_and_remove(const void* key, unsigned char do_remove)
{
    for (entry** link = bucket_of(key); *link != nullptr; link = &(*link)->next) {
        entry* const here = *link;
        void* const data = here->data;
        if (here->next != nullptr) ketriope::prefetch(here->next->data);  // it comes meanwhile
        if (comp_func(key, data) != 0) continue;
        if (do_remove != 0) {
            *link = here->next;
            std::free(here);
            --count_;
        }
        return data;
    }
    return nullptr;
}

void* UT_HASH::find(const void* key)
{
    return find_and_remove(key, 0);
}

void* UT_HASH::remove(const void* key)
{
    return find_and_remove(key, 1);
}

void UT_HASH::process(void (*fn)(void* data))
{
    if (fn != nullptr) process_and_kill(0, fn);
}

void UT_HASH::flush()
{
    if (owner_ == 0) return;
    for (std::uint32_t i = 0; i < buckets_; ++i) {
        for (const entry* here = table_[i]; here != nullptr; here = here->next) del_func(here->data);
        table_[i] = nullptr;  // the entries stay allocated and counted: callers go by get_count()
    }
}

void UT_HASH::empty()
{
    flush();
}

bool UT_HASH::s_add(const void* key, void* data)
{
    add(key, data);
    return true;
}

void* UT_HASH::s_find(const void* key)
{
    return find(key);
}

void* UT_HASH::s_remove(const void* key)
{
    return remove(key);
}

void UT_HASH::del_func(void* /*data*/) {}

double UT_HASH::get_stat() const
{
    return static_cast<double>(find_calls_) / static_cast<double>(compare_calls_);
}

/// Calls `fn`, if there is one, for all data; with `kill` the entries are freed on the way.
void UT_HASH::process_and_kill(unsigned char kill, void (*fn)(void* data))
{
    for (std::uint32_t i = 0; i < buckets_; ++i)
        for (entry *here = table_[i], *next = nullptr; here != nullptr; here = next) {
            next = here->next;
            if (fn != nullptr) fn(here->data);
            if (kill != 0) std::free(here);
        }
}
