// format_writer_child <folder>: writes files of each form, for a reader in another language to read.
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "basutfile.h"
#include "basutifile.h"
#include "basutptrfil.h"
#include "basutstream.h"

namespace {

/// Runs, text and noise, by a generator of numbers; the reader makes the same.
std::string made_content(std::size_t size)
{
    std::string out;
    std::uint32_t state = 12'345;
    while (out.size() < size) {
        state = (state * 1'103'515'245u + 12'345u) & 0x7FFFFFFF;
        switch (state >> 16 & 3) {
        case 0: out.append((state >> 20) % 400, static_cast<char>(state >> 8 & 255)); break;
        case 1:
            out += "net n" + std::to_string(state >> 18) + " drives input i" + std::to_string(state >> 24) +
                   '\n';
            break;
        case 2: out += static_cast<char>(state >> 12 & 255); break;
        default:
            if (const std::size_t back = (state >> 8) % 5'000 + 40; back <= out.size())
                out += out.substr(out.size() - back, 40);
        }
    }
    return out.substr(0, size);
}

bool write(UT_STREAM& out, const std::string& bytes)
{
    const int count = static_cast<int>(bytes.size());
    return out.write(reinterpret_cast<const unsigned char*>(bytes.data()), count) == count;
}

bool write_file(const std::string& name, int form, const std::string& bytes)
{
    UT_STREAM* const out = ut_file.open(name.c_str(), static_cast<UT_ACCESS>(UT_ACCESS_WRITE | form), 1);
    return out != nullptr && write(*out, bytes) && ut_file.close(out) != 0;
}

bool write_forms(const std::string& folder)
{
    for (const std::size_t size : std::initializer_list<std::size_t>{0, 1, 100, 16'384, 16'385, 150'000}) {
        const std::string bytes = made_content(size), ending = '.' + std::to_string(size);
        if (!write_file(folder + "/packed" + ending, UT_ACCESS_PACKED, bytes) ||
            !write_file(folder + "/gca" + ending, UT_ACCESS_GCA, bytes) ||
            !write_file(folder + "/gcb" + ending, UT_ACCESS_GCB, bytes) ||
            !write_file(folder + "/plain" + ending, 0, bytes))
            return false;
    }
    return true;
}

bool write_indexed(const std::string& name, int count)
{
    UT_IFILE file;
    if (file.create(name.c_str()) == 0) return false;
    for (int i = 0; i < count; ++i) {
        UT_STREAM* const out = file.putdataseg(("segment " + std::to_string(i)).c_str(), i, 1'000L * i - 3);
        const auto size = static_cast<std::size_t>(i) * static_cast<std::size_t>(i) * 10;
        if (out == nullptr || !write(*out, made_content(size)) || file.enddataseg() == 0) return false;
    }
    return file.unload() != 0;
}

/// More segments than the header's field counts.
bool write_many(const std::string& name)
{
    UT_IFILE file;
    if (file.create(name.c_str()) == 0) return false;
    for (int i = 0; i < 65'600; ++i) file.newfdir(std::to_string(i).c_str(), i, -i);
    return file.unload() != 0;
}

struct node {
    int number = 0;
    node* one = nullptr;
    node* other = nullptr;
};

bool write_graph(const std::string& name)
{
    constexpr int k_nodes = 500;
    std::vector<node> nodes(k_nodes);
    for (int i = 0; i < k_nodes; ++i)
        nodes[static_cast<std::size_t>(i)] = {i, &nodes[static_cast<std::size_t>((i + 1) % k_nodes)],
                                              i % 3 != 0 ? &nodes[static_cast<std::size_t>(i * 7 % k_nodes)]
                                                         : nullptr};
    UT_PTRFILE file(UT_ACCESS_WRITE);
    if (ut_file.open(name.c_str(), &file, 1) == nullptr) return false;
    file.write(k_nodes);
    for (node& each : nodes) {
        file.writeptr(&each);
        file.write(each.number);
        file.writeptr(each.one);
        file.writeptr(each.other);
    }
    return ut_file.close(&file) != 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    const std::string folder = argv[1];
    const bool done = write_forms(folder) && write_indexed(folder + "/indexed", 40) &&
                      write_indexed(folder + "/indexed.empty", 0) && write_many(folder + "/indexed.many") &&
                      write_graph(folder + "/graph");
    if (!done) std::fprintf(stderr, "not all files could be written to %s\n", argv[1]);
    return done ? 0 : 1;
}
