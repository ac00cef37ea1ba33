// tests/support/fake_coder.h: stands in for the compressors, so that all that a device does around them
// is seen. Its stored bytes are the content with every bit turned, and a '.' when it was completed.
#pragma once
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "data_coder.h"

/// While one lives, devices get fake coders.
class fake_coders {
public:
    fake_coders() : before_(ketriope::install_coders(make)) { current() = this; }
    ~fake_coders()
    {
        for (ketriope::data_coder* left : std::vector(living)) delete left;
        ketriope::install_coders(before_);
        current() = nullptr;
    }
    fake_coders(const fake_coders&) = delete;
    fake_coders& operator=(const fake_coders&) = delete;

    static constexpr unsigned char k_mask = 0xff;
    static constexpr std::size_t k_whole_block = 32768;

    std::vector<UT_IO_DEVICE_MODE> made;          ///< the mode of each coder, in order
    std::vector<std::size_t> reads;               ///< what was asked
    std::vector<std::size_t> writes;              ///< what was given
    std::vector<ketriope::coder_versions> asked;  ///< the versions of the device when a coder was made
    std::vector<ketriope::data_coder*> living;    ///< made and not destroyed
    ketriope::coder_versions versions{'1', '1'};  ///< what a packer says it writes
    int finished = 0;
    bool finish_raises = false;
    bool write_raises = false;
    bool whole_blocks = false;  ///< a read above 16383 brings 32768 bytes of 'B', as a block would

private:
    class coder final : public ketriope::data_coder {
    public:
        coder(fake_coders& log, UT_IO_DEVICE& device) : log_(log), device_(device)
        {
            log_.living.push_back(this);
        }
        ~coder() override { std::erase(log_.living, this); }

        std::size_t read(unsigned char* out, std::size_t count) override
        {
            log_.reads.push_back(count);
            if (log_.whole_blocks && count > 16383) {
                std::memset(out, 'B', k_whole_block);
                return k_whole_block;
            }
            const int got = device_.get_rawdata(out, static_cast<int>(count));
            std::for_each(out, out + got, [](unsigned char& byte) { byte ^= k_mask; });
            return static_cast<std::size_t>(got);
        }
        void write(const unsigned char* from, std::size_t count) override
        {
            if (log_.write_raises) throw -1;
            log_.writes.push_back(count);
            std::vector<unsigned char> stored(from, from + count);
            for (unsigned char& byte : stored) byte ^= k_mask;
            device_.set_rawdata(stored.data(), static_cast<int>(count));
            wrote_ = true;
        }
        void finish() override
        {
            ++log_.finished;
            if (log_.finish_raises) throw -1;
            unsigned char end = '.';
            if (wrote_) device_.set_rawdata(&end, 1);
        }
        ketriope::coder_versions versions() const override { return log_.versions; }

    private:
        fake_coders& log_;
        UT_IO_DEVICE& device_;
        bool wrote_ = false;
    };

    static fake_coders*& current()
    {
        static fake_coders* the_one = nullptr;
        return the_one;
    }
    static std::unique_ptr<ketriope::data_coder> make(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode)
    {
        current()->made.push_back(mode);
        current()->asked.push_back({device.get_pak_version(), device.get_huf_version()});
        return std::make_unique<coder>(*current(), device);
    }

    ketriope::coder_maker before_;
};

/// Content as the coders store it, and back.
inline std::string turned(std::string text)
{
    for (char& c : text) c = static_cast<char>(static_cast<unsigned char>(c) ^ fake_coders::k_mask);
    return text;
}
