// tests/support/collection_faults.h: lets the collections' own allocations fail.
#pragma once
#include <climits>
#include <utility>

#include "allocation_faults.h"
#include "utlist.h"

/// While it lives, list nodes come from the heap: those that were kept for reuse are taken.
class no_kept_elements {
public:
    no_kept_elements() { take_more(); }
    ~no_kept_elements()
    {
        while (taken_ != nullptr) delete std::exchange(taken_, taken_->next);
    }
    no_kept_elements(const no_kept_elements&) = delete;
    no_kept_elements& operator=(const no_kept_elements&) = delete;

    /// Takes those that were kept since.
    void take_more()
    {
        for (bool from_heap = false; !from_heap;) {
            const allocation_faults counter(LONG_MAX);
            taken_ = new Element(nullptr, taken_);
            from_heap = counter.counted() > 0;
        }
    }

private:
    Element* taken_ = nullptr;
};
