// storage_form.cpp
#include "storage_form.h"

#include "platform.h"

namespace ketriope {

file_head read_file_head(int descriptor)
{
    file_signature first{};  // no signature has a 0, so a shorter file matches none
    std::size_t done = 0;
    while (done < first.size()) {
        const std::int64_t count = platform::os().read(descriptor, first.data() + done, first.size() - done);
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    for (const storage_form& form : {k_packed_form, k_gca_form, k_gcb_form})
        if (first == form.signature) return {true, form.bit};
    return {done > 0, UT_ACCESS{}};
}

}  // namespace ketriope
