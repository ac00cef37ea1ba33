// basutstreamenc.cpp: how a read stream switches to enciphered data and back.
#include "basutstream.h"

#include <algorithm>
#include <memory>
#include <span>

#include "basutblowfish.h"
#include "contract.h"

namespace {

constexpr ketriope::site k_site{.module = "basutstream", .exit_value = 1};
constexpr std::size_t k_group = ketriope::blowfish::k_block;
constexpr std::size_t k_usual_key = 8;  ///< bytes; what a length of 0 means

constexpr char k_no_key[] = "Data key is not supplied, cannot enable data encryption.";
constexpr char k_no_writing[] =
    "Cannot write encrypted file, encryption control package has not been installed";

template <class Size>
constexpr Size whole_groups(Size count)
{
    return (count + k_group - 1) / k_group * k_group;
}

}  // namespace

void UT_STREAM::setup_enc_key(unsigned char* key, std::size_t length)
{
    if (key == nullptr) return;
    if (buffer_length_ % k_group != 0) {
        ketriope::contract_failed(k_site,
                                  "Cannot enable data encryption. IO buffer length should be multiple of 8.");
        return;
    }
    const std::size_t used = length == 0 ? k_usual_key : std::min(length, ketriope::blowfish::k_longest_key);
    auto cipher = std::make_unique<ketriope::blowfish_cbc>(std::span<const unsigned char>(key, used));
    delete cipher_;
    cipher_ = cipher.release();
}

void UT_STREAM::enc_begin()
{
    if (!may_switch(false, "Unmatched call to enc_begin().")) return;
    const long position = getfoffset();
    set_offset(position);
    restart_at(position);
    enciphered_ = 1;
}

void UT_STREAM::enc_end()
{
    if (!may_switch(true, "Unmatched call to enc_end().")) return;
    buffer_offset_ = whole_groups(buffer_offset_);
    const long position = getfoffset();
    set_offset(position);
    restart_at(position);
    enciphered_ = 0;
}

/// True when a stretch may begin or end here; otherwise the contract is broken.
bool UT_STREAM::may_switch(bool begun, const char* unmatched)
{
    const char* fault = nullptr;
    if (cipher_ == nullptr)
        fault = k_no_key;
    else if ((enciphered_ != 0) != begun)
        fault = unmatched;
    else if (writes())
        fault = k_no_writing;
    if (fault != nullptr) ketriope::contract_failed(k_site, fault);
    return fault == nullptr;
}

/// Deciphers what a load brought, a last partial group as if zeroes followed.
void UT_STREAM::decipher(std::size_t count)
{
    const std::size_t whole = whole_groups(count);
    std::fill(buffer_ + count, buffer_ + whole, static_cast<unsigned char>(0));
    cipher_->decrypt({buffer_, whole});
}
