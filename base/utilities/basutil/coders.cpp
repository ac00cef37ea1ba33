// coders.cpp
#include "coders.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "basutgcomp.h"
#include "basutpak.h"
#include "basutstream.h"

namespace ketriope {
namespace {

/// Content as packed data.
class packed_coder final : public data_coder {
public:
    explicit packed_coder(UT_IO_DEVICE& device)
        : packer_(new UTPAK_DATA(&device, device.get_pak_version(), device.get_huf_version()))
    {
    }
    ~packed_coder() override { delete packer_; }

    std::size_t read(unsigned char* out, std::size_t count) override
    {
        return static_cast<std::size_t>(packer_->unpak(reinterpret_cast<char*>(out), signed_count(count)));
    }
    void write(const unsigned char* from, std::size_t count) override
    {
        auto* const data = const_cast<unsigned char*>(from);  // which the packer only reads
        packer_->pak(reinterpret_cast<char*>(data), signed_count(count));
    }
    void finish() override { delete std::exchange(packer_, nullptr); }
    ut_uint64 blocks() const override { return packer_->get_block_count(); }
    // Nothing at all behind the signature is an empty file, and whole.
    bool is_cut_short() const override
    {
        return packer_->is_end_of_pakio() != 0 && packer_->get_curr_offset() != 0;
    }
    coder_versions versions() const override
    {
        coder_versions written;
        packer_->getversion(written.pak, written.huf);
        return written;
    }

private:
    std::size_t drop_piece(std::size_t count) override
    {
        constexpr std::size_t k_piece = 16'384;  // as a stream reads; the window must hold it
        return static_cast<std::size_t>(packer_->unpak(nullptr, signed_count(std::min(count, k_piece))));
    }
    static long signed_count(std::size_t count)
    {
        return static_cast<long>(std::min<std::size_t>(count, LONG_MAX));
    }

    UTPAK_DATA* packer_;  ///< its destructor may raise, which the standard's owners do not allow
};

/// Content in compressed blocks. The blocks go to the descriptor by a stream of their own.
class block_coder final : public data_coder {
public:
    block_coder(UT_ACCESS access, int fd) : blocks_(access, fd) {}

    std::size_t read(unsigned char* out, std::size_t count) override
    {
        return static_cast<std::size_t>(blocks_.read(out, static_cast<long>(count)));
    }
    void write(const unsigned char* from, std::size_t count) override
    {
        blocks_.write(from, static_cast<long>(count));
    }
    void finish() override { blocks_.flush(); }
    int take_error() override { return blocks_.take_error(); }
    ut_uint64 blocks() const override { return blocks_.get_block_count(); }
    bool is_cut_short() const override { return blocks_.is_cut_short() != 0; }

private:
    UT_GCOMP blocks_;
};

/// The algorithm follows the mode, which a derived class may have chosen without the mask.
UT_ACCESS with_algorithm(UT_ACCESS access, UT_IO_DEVICE_MODE mode)
{
    const int others = access & ~(UT_ACCESS_GCA | UT_ACCESS_GCB);
    return static_cast<UT_ACCESS>(others) | (mode == UT_IO_GCA ? UT_ACCESS_GCA : UT_ACCESS_GCB);
}

}  // namespace

std::unique_ptr<data_coder> stream_coder(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode)
{
    if (mode == UT_IO_PAK) return std::make_unique<packed_coder>(device);
    const auto* const stream = dynamic_cast<const UT_STREAM*>(&device);
    if (stream == nullptr) return nullptr;  // blocks need a descriptor
    return std::make_unique<block_coder>(with_algorithm(stream->getaccess(), mode), stream->getfid());
}

}  // namespace ketriope
