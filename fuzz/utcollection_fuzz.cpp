// fuzz/utcollection_fuzz.cpp: operations on each kind of collection and on its model.
#include <cstddef>
#include <cstdint>
#include <string>

#include "../tests/support/collection_model.h"
#include "fuzz_check.h"

namespace {

using collection_model::byte_choices;
using collection_model::functions;

constexpr unsigned k_numbers = 1'024;  ///< of elements: enough for several doublings
constexpr int k_pace = 16;

template <class Collection, class Model>
void compare(const functions& with, byte_choices& choices)
{
    Collection collection;
    with.set(collection);
    Model model(with);
    FUZZ_CHECK(collection_model::disagreement(collection, model, choices, k_numbers, k_pace).empty());
}

void compare_arrays(const functions& with, byte_choices& choices)
{
    const unsigned capacity = choices.below(40);
    utArray array(static_cast<int>(capacity));
    with.set(array);
    collection_model::array_model model(with, capacity);
    FUZZ_CHECK(collection_model::array_disagreement(array, model, choices, k_numbers, k_pace).empty());
}

}  // namespace

/// A byte for the kind of collection, one for its functions, and operations.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    byte_choices choices({data, size});
    const unsigned kind = choices.below(6);
    const functions& with = collection_model::all_functions()[choices.below(4)];
    switch (kind) {
    case 0: compare_arrays(with, choices); break;
    case 1: compare<utList, collection_model::ordered_model>(with, choices); break;
    case 2: compare<utQueue, collection_model::queue_model>(with, choices); break;
    case 3: compare<utStack, collection_model::stack_model>(with, choices); break;
    case 4: compare<utHashTable, collection_model::table_model>(with, choices); break;
    default: compare<utLinkedHashTable, collection_model::linked_table_model>(with, choices); break;
    }
    return 0;
}
