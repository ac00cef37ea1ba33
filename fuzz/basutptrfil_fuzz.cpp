// fuzz/basutptrfil_fuzz.cpp: any sequence of calls of the fix-up table, against its model; then the bytes as
// a hostile file of objects, in which every place ends resolved or is told to dangle.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <set>
#include <span>
#include <string>

#include "../tests/support/pointer_model.h"
#include "basutfile.h"
#include "basutptrfil.h"
#include "fuzz_check.h"
#include "memory_file.h"

namespace {

void try_table(std::span<const std::uint8_t> bytes)
{
    UT_PTRFIXTABLE table;
    pointer_model model;
    const auto next = [&bytes](std::size_t count) {
        std::size_t number = 0;
        for (int i = 0; i < 2 && !bytes.empty(); ++i) {
            number = number << 8 | bytes.front();
            bytes = bytes.subspan(1);
        }
        return number % count;
    };
    while (!bytes.empty()) FUZZ_CHECK(pointer_step(table, model, next));
}

struct object {
    void* self = nullptr;
    void* next = nullptr;
};

/// Objects of two pointers: their own address, and another's.
void read_objects(std::string bytes)
{
    memory_file::hold(std::move(bytes));
    UT_PTRFILE in(UT_ACCESS_READ);
    if (ut_file.open("objects", &in, 0) == nullptr) return;
    std::deque<object> objects;
    std::set<void*> known;
    std::set<void*> now;
    for (void* self = nullptr; in.readptr(self) == 8;) {
        object& read = objects.emplace_back();
        read.self = self;
        if (known.insert(self).second) {
            in.registerptr(self, &read);
            now.insert(&read);
        }
        in.readptr(read.next);
        in.fixptr(&read.next);
    }
    std::set<void**> dangling;
    while (void** const place = in.checkptrs()) FUZZ_CHECK(dangling.insert(place).second);
    for (object& each : objects) {
        const bool resolved = each.next == nullptr || now.count(each.next) != 0;
        FUZZ_CHECK(resolved != (dangling.count(&each.next) != 0));
    }
    in.flush_fixtable();
    FUZZ_CHECK(in.checkptrs() == nullptr);
    ut_file.close(&in);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    memory_file::use();
    try_table({data, size});
    read_objects({reinterpret_cast<const char*>(data), size});
    return 0;
}
