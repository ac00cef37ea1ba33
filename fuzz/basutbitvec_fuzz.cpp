// fuzz/basutbitvec_fuzz.cpp: bit vectors from texts and from files. What a text means is said by the model;
// a file may name any count of bits and words, and must lead to that many words or to none.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "../tests/support/bitvec_model.h"
#include "basutstream.h"
#include "fuzz_check.h"
#include "memory_file.h"
#include "msgdatabase.h"

namespace {

constexpr std::size_t k_longest = 300;         // of a text; the model goes bit by bit
constexpr std::size_t k_believed = 1U << 20U;  // words that a file may name and lack

/// Takes reports of broken contracts, which are then thrown.
class quiet_database final : public ketriope::message_database {
public:
    void post_contract(const char*, int, const char*) override {}
    void post_numbered(const char*, const char*, ut_va_list) override {}
    void post_text(const char*, const char*) override {}
    void post_finished(int, const char*) override {}
    void show_types(int, bool) override {}
};

void compare_text(std::size_t bits, std::string_view text)
{
    const std::string whole(text.substr(0, std::min(text.find('\0'), k_longest)));
    UT_BITVEC vector(0xA5A5A5A5UL, static_cast<unsigned int>(bits));
    bitvec_model model(0xA5A5A5A5U, bits);
    const bool expected = model.read(whole);
    bool accepted = true;
    try {
        vector = whole.c_str();
    } catch (int) {
        accepted = false;
    }
    FUZZ_CHECK(accepted == expected);
    FUZZ_CHECK(same(vector, model));  // a text that is refused changes nothing
    if (!accepted) return;
    for (const UT_BITVEC::BASE base : {UT_BITVEC::BIN, UT_BITVEC::OCT, UT_BITVEC::HEX}) {
        UT_BITVEC again;
        again = vector.getAsciiStr(1, 1, base).getstring();
        for (unsigned int i = 0; i < vector.getnum_bits(); ++i) FUZZ_CHECK(again.get(i) == vector.get(i));
    }
}

std::size_t number_at(std::string_view bytes, std::size_t place)
{
    std::size_t value = 0;
    for (const char c : bytes.substr(place, 4)) value = value << 8U | static_cast<unsigned char>(c);
    return value;
}

void compare_file(std::size_t bits, std::string_view bytes)
{
    memory_file::hold(std::string(bytes));
    UT_BITVEC vector(0x5UL, static_cast<unsigned int>(bits));
    UT_STREAM in(memory_file::k_descriptor, UT_ACCESS_READ, 0, nullptr);
    const bool whole = vector.readme(&in);

    if (bytes.size() < 8) {
        FUZZ_CHECK(!whole && vector.getnum_bits() == bits);
        return;
    }
    const std::size_t named = number_at(bytes, 4);
    const std::size_t arrived = std::min(named, bytes.size() / 4 - 2);
    const std::size_t words = std::max({named, (number_at(bytes, 0) + 31) / 32, std::size_t{1}});
    FUZZ_CHECK(whole == (arrived == named && words - arrived <= k_believed));
    if (words - arrived > k_believed) {
        FUZZ_CHECK(vector.getnum_bits() == bits && vector == UT_BITVEC(0x5UL));
        return;
    }
    FUZZ_CHECK(vector.getnum_bits() == number_at(bytes, 0) && vector.getnum_words() == words);

    memory_file::hold("");
    UT_STREAM out(memory_file::k_descriptor, UT_ACCESS_WRITE, 0, nullptr);
    FUZZ_CHECK(vector.writeme(&out) && out.flush() != 0);
    std::string expected(bytes.substr(0, 8 + 4 * arrived));
    for (std::size_t i = 0; i < 4; ++i) expected[4 + i] = static_cast<char>(words >> (24 - 8 * i));
    expected.resize(8 + 4 * words);
    FUZZ_CHECK(memory_file::content == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static quiet_database database;
    ketriope::install_database(&database);
    memory_file::use();
    if (size == 0) return 0;
    const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] < 128)
        compare_text(data[0], rest);
    else
        compare_file(data[0] - std::size_t{128}, rest);
    return 0;
}
