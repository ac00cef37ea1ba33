// utlist.cpp
#include "utlist.h"

#include <utility>

#include "free_list.h"

namespace {

constinit ketriope::free_list elements{sizeof(Element)};
constinit ketriope::free_list generators{sizeof(utListGen)};

}  // namespace

Element::~Element() = default;

void* Element::operator new(std::size_t size)
{
    return elements.take(size);
}

void Element::operator delete(void* object, std::size_t size) noexcept
{
    elements.give(object, size);
}

utList::~utList()
{
    for (Element* node = take_all(); node != nullptr;) delete std::exchange(node, node->next);
}

const char* utList::className()
{
    return "utList";
}

void* utList::first()
{
    return _head != nullptr ? _head->data : nullptr;
}

void* utList::last()
{
    return _tail != nullptr ? _tail->data : nullptr;
}

int utList::insert(void* data)
{
    if (_tail != nullptr && Compare(_tail->data, data) < 0) return push_back(data);
    Element* previous = nullptr;
    for (Element* node = _head; node != nullptr; previous = std::exchange(node, node->next)) {
        const int order = Compare(node->data, data);
        if (order == 0) return _size;
        if (order > 0) break;
    }
    link(previous, new Element(data));
    return _size;
}

void* utList::remove(void* data)
{
    const place found = place_of(data);
    return found.node != nullptr ? take(found) : nullptr;
}

void* utList::remove()
{
    if (_head != nullptr) return take({nullptr, _head});
    _size = 0;  // whatever a derived class has counted
    return nullptr;
}

void* utList::find(int index)
{
    const Element* const node = node_at(index);
    return node != nullptr ? node->data : nullptr;
}

void* utList::find(void* data)
{
    const Element* const node = place_of(data).node;
    return node != nullptr ? node->data : nullptr;
}

void* utList::replace(void* data, int index)
{
    Element* const node = node_at(index);
    return node != nullptr ? std::exchange(node->data, data) : nullptr;
}

utColGen* utList::newGen()
{
    return new utListGen(this);
}

int utList::push_front(void* data)
{
    link(nullptr, new Element(data));
    return _size;
}

int utList::push_back(void* data)
{
    link(_tail, new Element(data));
    return _size;
}

utList::place utList::place_of(void* data) const
{
    const auto first_that = [this](auto equals) {
        place here{nullptr, _head};
        while (here.node != nullptr && !equals(here.node->data)) here = {here.node, here.node->next};
        return here;
    };
    if (_compFun == nullptr) return first_that([data](void* element) { return element == data; });
    return first_that([data, same = _compFun](void* element) { return same(element, data) == 0; });
}

Element* utList::node_at(int index) const
{
    Element* node = index >= 0 ? _head : nullptr;
    for (; node != nullptr && index > 0; --index) node = node->next;
    return node;
}

/// Puts `node` behind `previous`, or at the head.
void utList::link(Element* previous, Element* node) noexcept
{
    Element*& from = previous != nullptr ? previous->next : _head;
    node->next = std::exchange(from, node);
    if (previous == _tail) _tail = node;
    IncSize();
}

/// Ends a node. Returns what it held.
void* utList::take(const place& from) noexcept
{
    (from.previous != nullptr ? from.previous->next : _head) = from.node->next;
    if (_tail == from.node) _tail = from.previous;
    DecSize();
    void* const data = from.node->data;
    delete from.node;
    return data;
}

/// Empties the list. Returns the head of what was in it, which is the caller's now.
Element* utList::take_all() noexcept
{
    _tail = nullptr;
    _size = 0;
    return std::exchange(_head, nullptr);
}

utQueue::~utQueue() = default;

const char* utQueue::className()
{
    return "utQueue";
}

int utQueue::insert(void* data)
{
    return push_back(data);
}

utStack::~utStack() = default;

const char* utStack::className()
{
    return "utStack";
}

int utStack::insert(void* data)
{
    return push_front(data);
}

utListGen::utListGen(utList* list) : _next(list != nullptr ? list->_head : nullptr) {}

void utListGen::init(utCollection* list)
{
    *this = utListGen(dynamic_cast<utList*>(list));
}

const char* utListGen::className()
{
    return "utListGen";
}

void* utListGen::next()
{
    if (_next == nullptr) return nullptr;
    return std::exchange(_next, _next->next)->data;
}

void* utListGen::operator new(std::size_t size)
{
    return generators.take(size);
}

void utListGen::operator delete(void* object, std::size_t size) noexcept
{
    generators.give(object, size);
}
