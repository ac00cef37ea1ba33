// basutio.cpp
#include "basutio.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <utility>

#include "contract.h"
#include "data_coder.h"
#include "platform.h"

using ketriope::platform::os;

namespace {

constexpr ketriope::site k_not_ended{.module = "basutio", .exit_value = 1, .in_destructor = true};
constexpr ketriope::site k_no_rewind{.module = "basutio", .exit_value = 1};

constexpr char k_version = '1';  ///< of both coders; a version of 0 means this one

/// A count of bytes as the raw operations take it.
int raw_count(std::size_t count)
{
    return static_cast<int>(std::min<std::size_t>(count, INT_MAX));
}

/// Completes the coder's output and lets go of it; the result is the `errno` of what failed, or 0.
int end_coder(ketriope::data_coder*& slot)
{
    const std::unique_ptr<ketriope::data_coder> ending(std::exchange(slot, nullptr));
    if (!ending) return 0;
    ending->finish();
    return ending->take_error();
}

}  // namespace

UT_IO_DEVICE::~UT_IO_DEVICE() noexcept(false)
{
    // It cannot be ended here: its last bytes would go through operations that are gone.
    if (pak_ != nullptr) ketriope::contract_failed(k_not_ended, "pak has not been delete.");
}

long UT_IO_DEVICE::get_data(unsigned char* out, std::size_t count)
{
    if (mode_ == UT_IO_RAW) return get_rawdata(out, raw_count(count));
    ketriope::data_coder* const source = coder();
    if (source == nullptr) return 0;
    const std::size_t got = source->read(out, count);
    position_ += static_cast<std::uint32_t>(got);
    return static_cast<long>(got);
}

long UT_IO_DEVICE::set_data(unsigned char* from, std::size_t count)
{
    if (mode_ == UT_IO_RAW) return set_rawdata(from, raw_count(count));
    const bool fresh = coder_slot() == nullptr;
    ketriope::data_coder* const target = coder();
    if (target == nullptr) return 0;
    if (fresh && mode_ == UT_IO_PAK) {  // the signature needs them before the first byte goes out
        const ketriope::coder_versions versions = target->versions();
        pak_version_ = versions.pak;
        huf_version_ = versions.huf;
    }
    target->write(from, count);
    position_ += static_cast<std::uint32_t>(count);
    return static_cast<long>(count);
}

long UT_IO_DEVICE::set_offset(long position)
{
    if (mode_ == UT_IO_RAW) return set_rawoffset(position);
    if (set_rawoffset(0) != 0) {
        ketriope::contract_failed(k_no_rewind, "Unable to set raw offset for compressed file.");
        return -1;
    }
    end_coder(coder_slot());
    position_ = 0;
    if (position > 0 && !is_end_mark(position)) {
        if (ketriope::data_coder* const source = coder(); source != nullptr)
            position_ = static_cast<std::uint32_t>(source->skip(static_cast<std::size_t>(position)));
    }
    return static_cast<long>(position_);
}

long UT_IO_DEVICE::get_offset()
{
    return mode_ == UT_IO_RAW ? get_rawoffset() : static_cast<long>(position_);
}

unsigned char UT_IO_DEVICE::write_version(int fd)
{
    const auto written = [fd](char version) {
        const char byte = version != 0 ? version : k_version;
        return os().write(fd, &byte, 1) == 1;
    };
    return written(huf_version_) && written(pak_version_);
}

unsigned char UT_IO_DEVICE::read_version(int fd)
{
    return os().read(fd, &huf_version_, 1) == 1 && os().read(fd, &pak_version_, 1) == 1;
}

int UT_IO_DEVICE::destroy_me()
{
    const int of_packer = end_coder(pak_);
    const int of_blocks = end_coder(gcomp_);
    return of_packer != 0 ? of_packer : of_blocks;
}

void UT_IO_DEVICE::reset_device()
{
    position_ = 0;
    pak_version_ = 0;
    huf_version_ = 0;
}

const ketriope::data_coder* UT_IO_DEVICE::coder_in_use() const
{
    return mode_ == UT_IO_RAW ? nullptr : mode_ == UT_IO_PAK ? pak_ : gcomp_;
}

ut_uint64 UT_IO_DEVICE::get_block_count() const
{
    const ketriope::data_coder* const coder = coder_in_use();
    return coder != nullptr ? coder->blocks() : 0;
}

unsigned char UT_IO_DEVICE::is_cut_short() const
{
    const ketriope::data_coder* const coder = coder_in_use();
    return coder != nullptr && coder->is_cut_short();
}

int UT_IO_DEVICE::take_coder_error()
{
    if (is_compressed() == 0) return 0;
    ketriope::data_coder* const coder = coder_slot();
    return coder != nullptr ? coder->take_error() : ENOTSUP;
}

ketriope::data_coder*& UT_IO_DEVICE::coder_slot()
{
    return mode_ == UT_IO_PAK ? pak_ : gcomp_;
}

ketriope::data_coder* UT_IO_DEVICE::coder()
{
    ketriope::data_coder*& slot = coder_slot();
    if (slot == nullptr) {
        slot = ketriope::make_coder(*this, mode_).release();
        position_ = 0;
    }
    return slot;
}
