// tests/support/indexed_model.h: indexed files as a byte-by-byte reader and a plain writer see them.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace indexed_model {

struct entry {
    std::string name;
    std::int32_t offset = 0;
    std::int32_t size = 0;
    std::int32_t type = 0;
    std::int32_t data = 0;
    bool operator==(const entry&) const = default;
};

/// What a file says, be it whole or damaged. What lies behind its end reads as 0 and "".
class file {
public:
    /// Nothing for a file of another version. Lifetime: `content` looks at the bytes again.
    static std::optional<file> read(std::string_view bytes)
    {
        file found(bytes);
        if (found.number(1) != 2) return std::nullopt;
        found.revision = static_cast<unsigned char>(found.number(1));
        found.data_version = static_cast<unsigned char>(found.number(1));
        const std::uint32_t data_revision = found.number(1);
        found.data_revision = data_revision & 0xBF;
        const std::uint32_t count = found.number(2) + ((data_revision & 0x40) != 0 ? 65'536 : 0);
        const auto directory = static_cast<std::int32_t>(found.number(4));
        if (directory < -1) return found;  // no such place
        found.at_ = directory == -1 ? bytes.size() : static_cast<std::size_t>(directory);
        for (std::uint32_t i = 0; i < count; ++i) {
            entry read;
            read.name = found.name();
            for (std::int32_t* field : {&read.offset, &read.size, &read.type, &read.data})
                *field = static_cast<std::int32_t>(found.number(4));
            found.entries.push_back(read);
        }
        return found;
    }

    /// What a reader gets that asks for all bytes of a segment.
    std::string content(const entry& of) const
    {
        if (of.offset < 0 || of.size < 0 || static_cast<std::size_t>(of.offset) > bytes_.size()) return "";
        return std::string(
            bytes_.substr(static_cast<std::size_t>(of.offset), static_cast<std::size_t>(of.size)));
    }

    unsigned char revision = 0;
    unsigned char data_version = 0;
    unsigned char data_revision = 0;
    std::vector<entry> entries;

private:
    explicit file(std::string_view bytes) : bytes_(bytes) {}
    std::uint32_t number(int size)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < size; ++i, ++at_)
            value = value << 8 | (at_ < bytes_.size() ? static_cast<unsigned char>(bytes_[at_]) : 0U);
        return value;
    }
    std::string name()
    {
        if (at_ >= bytes_.size()) return "";
        const std::string_view taken = bytes_.substr(at_, 256);
        const std::size_t length = std::min(taken.find('\0'), taken.size());
        at_ += std::min(length + 1, taken.size());
        return std::string(taken.substr(0, std::min<std::size_t>(length, 255)));
    }

    std::string_view bytes_;
    std::size_t at_ = 0;
};

/// Makes the bytes of a file from what is put into it.
class writer {
public:
    void put(const std::string& name, std::int32_t type, std::int32_t data, std::string_view content)
    {
        auto found = std::ranges::find(entries, name, &entry::name);
        if (found == entries.end()) found = entries.insert(found, entry{name});
        found->offset = static_cast<std::int32_t>(bytes_.size());
        found->size = static_cast<std::int32_t>(content.size());
        found->type = type;
        found->data = data;
        bytes_ += content;
    }
    std::string finished(unsigned char data_version, unsigned char data_revision) const
    {
        std::string whole = bytes_;
        const auto directory = static_cast<std::uint32_t>(whole.size());
        for (const entry& each : entries) {
            whole += each.name + '\0';
            for (const std::int32_t field : {each.offset, each.size, each.type, each.data})
                whole += big(static_cast<std::uint32_t>(field), 4);
        }
        const auto count = static_cast<std::uint32_t>(entries.size());
        const unsigned revision = (data_revision & 0xBFU) | (count > 65'535 ? 0x40U : 0U);
        const std::string head = big(2, 1) + big(0, 1) + big(data_version, 1) + big(revision, 1) +
                                 big(count, 2) + big(directory, 4);
        return whole.replace(0, head.size(), head);
    }

    std::vector<entry> entries;

private:
    static std::string big(std::uint32_t number, int size)
    {
        std::string bytes;
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
        return bytes;
    }

    std::string bytes_ = std::string(128, '\0');
};

}  // namespace indexed_model
