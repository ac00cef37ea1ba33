// coders.cpp
#include "coders.h"

#include "basutgcomp.h"
#include "basutstream.h"

namespace ketriope {
namespace {

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
    if (mode == UT_IO_PAK) return nullptr;
    const auto* const stream = dynamic_cast<const UT_STREAM*>(&device);
    if (stream == nullptr) return nullptr;  // blocks need a descriptor
    return std::make_unique<block_coder>(with_algorithm(stream->getaccess(), mode), stream->getfid());
}

}  // namespace ketriope
