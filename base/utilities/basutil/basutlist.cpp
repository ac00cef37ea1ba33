// basutlist.cpp
#include "basutlist.h"

#include <cstdint>
#include <cstdio>

/// The nodes that the list has given away to be worked on. Whatever happens, those left end up in it again.
class UT_LIST::detached {
public:
    explicit detached(UT_LIST& list) : list_(list), first_(list.head_->next_)
    {
        list_.head_->next_ = nullptr;
        list_.tail_ = list_.current_ = list_.head_;
    }
    ~detached()
    {
        list_.tail_->next_ = first_;
        while (list_.tail_->next_ != nullptr) list_.tail_ = list_.tail_->next_;
        list_.current_ = list_.head_;
    }
    detached(const detached&) = delete;
    detached& operator=(const detached&) = delete;

    void* data() const { return first_ != nullptr ? first_->data_ : nullptr; }
    UT_LISTMEM* take()
    {
        UT_LISTMEM* const node = first_;
        first_ = node->next_;
        return node;
    }

private:
    UT_LIST& list_;
    UT_LISTMEM* first_;
};

UT_LIST::UT_LIST() : head_(new UT_LISTMEM), tail_(head_), current_(head_) {}

UT_LIST::~UT_LIST()
{
    for (UT_LISTMEM* node = head_; node != nullptr;) {  // our own freedata does nothing with their data
        UT_LISTMEM* const next = node->next_;
        delete node;
        node = next;
    }
}

// ---- what a derived class may say about its data

void UT_LIST::freedata(void*) {}

void UT_LIST::printdata(void* data)
{
    std::printf("%llx \n", static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(data)));
}

unsigned char UT_LIST::finddata(void* data, void* key)
{
    return data == key;
}

int UT_LIST::compdata(void* a, void* b)
{
    const auto left = reinterpret_cast<std::uintptr_t>(a);
    const auto right = reinterpret_cast<std::uintptr_t>(b);
    return static_cast<int>(left > right) - static_cast<int>(left < right);
}

// ---- adding

unsigned char UT_LIST::push(void* data)
{
    if (data == nullptr) return 0;
    addnext(head_, data);
    return 1;
}

unsigned char UT_LIST::insert(void* data)
{
    if (data == nullptr || current_ == nullptr) return 0;
    addnext(current_, data);
    return 1;
}

unsigned char UT_LIST::insert(void* after, void* data)
{
    if (after == nullptr || data == nullptr) return 0;
    if (current_ != nullptr && current_->data_ == after) return insert(data);
    const UT_LISTMEM* const before = before_data(after);
    if (before == nullptr) return 0;
    addnext(before->next_, data);
    return 1;
}

unsigned char UT_LIST::mergesort(void* data)
{
    if (data == nullptr) return 0;
    addnext(place_of(data), data);
    return 1;
}

// ---- taking out

void* UT_LIST::pop()
{
    if (head_->next_ == nullptr) return nullptr;
    void* const data = head_->next_->data_;
    delnext(head_, 0);
    return data;
}

void* UT_LIST::popend()
{
    if (head_->next_ == nullptr) return nullptr;
    UT_LISTMEM* before = head_;
    while (before->next_ != tail_) before = before->next_;
    void* const data = tail_->data_;
    delnext(before, 0);
    return data;
}

unsigned char UT_LIST::remove(void* data, unsigned char free_it)
{
    if (data == nullptr) return 0;
    UT_LISTMEM* const before = before_data(data);
    if (before == nullptr) return 0;
    delnext(before, free_it);
    return 1;
}

unsigned char UT_LIST::remove(unsigned char free_it)
{
    return current_ != nullptr ? remove(current_->data_, free_it) : static_cast<unsigned char>(0);
}

void UT_LIST::freelist()
{
    detached rest(*this);
    while (void* const data = rest.data()) {
        delete rest.take();
        freedata(data);
    }
}

// ---- the cursor and the whole list

void* UT_LIST::find(void* key)
{
    for (UT_LISTMEM* node = head_->next_; node != nullptr; node = node->next_) {
        if (!finddata(node->data_, key)) continue;
        current_ = node;
        return node->data_;
    }
    return nullptr;
}

int UT_LIST::count() const
{
    int count = 0;
    for (const UT_LISTMEM* node = head_->next_; node != nullptr; node = node->next_) ++count;
    return count;
}

void UT_LIST::sort()
{
    detached rest(*this);
    while (void* const data = rest.data()) {
        UT_LISTMEM* const place = place_of(data);
        link(place, rest.take());
    }
}

void UT_LIST::printlist(unsigned char numbered)
{
    int index = 0;
    for (const UT_LISTMEM* node = head_->next_; node != nullptr; node = node->next_) {
        if (numbered) std::printf("%d \n", index++);
        printdata(node->data_);
    }
}

// ---- nodes

void UT_LIST::delnext(UT_LISTMEM* before, unsigned char free_it)
{
    UT_LISTMEM* const node = before->next_;
    before->next_ = node->next_;
    if (node == tail_) tail_ = before;
    if (node == current_) current_ = node->next_;
    void* const data = node->data_;
    *node = {};  // who kept the node finds nothing in it
    delete node;
    if (free_it) freedata(data);
}

/// The node in front of the first one that holds `data`, which is not null; null if there is none.
UT_LISTMEM* UT_LIST::before_data(const void* data) const
{
    UT_LISTMEM* before = head_;
    while (before->next_ != nullptr && before->next_->data_ != data) before = before->next_;
    return before->next_ != nullptr ? before : nullptr;
}

/// The node behind which `data` belongs in an ordered list.
UT_LISTMEM* UT_LIST::place_of(void* data)
{
    if (tail_ == head_ || compdata(tail_->data_, data) < 1) return tail_;
    UT_LISTMEM* before = head_;
    while (before->next_ != nullptr && compdata(before->next_->data_, data) <= 0) before = before->next_;
    return before;
}
