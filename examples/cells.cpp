// cells: sorts the instances of a netlist by cell into an indexed file, a segment for each cell.
#include <ketriope.h>

#include <cstring>

namespace {

/// An instance: a line such as "  DFF u_x21_00 (.clk(clk), ...);".
struct instance {
    const char* cell;  ///< both are interned: equal texts are one pointer
    const char* name;
};

int by_cell_and_name(const instance& a, const instance& b)
{
    const int cells = std::strcmp(a.cell, b.cell);
    return cells != 0 ? cells : std::strcmp(a.name, b.name);
}

using instances = UT_DARRAY_T<instance>;

bool read_netlist(const char* name, instances& found)
{
    UT_STREAM* const in = ut_file.open(name, UT_ACCESS_READ, 0);
    if (in == nullptr) return false;
    const UT_REGEXP pattern{UT_STROBJ("^  ([A-Z][A-Z0-9]*) .*(u_[A-Za-z0-9_]*) \\(")};
    UT_STROBJ line;
    while (!in->geteof()) {
        line.read_line(*in, '\n');
        const UT_STRKEYS keys = line.match_reg_exp(pattern);
        if (keys.num_keys() == 0) continue;
        const auto key = [&](int number) {
            const auto begin = static_cast<std::size_t>(keys.key_start(number));
            const auto end = static_cast<std::size_t>(keys.key_end(number));
            return utStringHashPool::newRefString(std::string(line.getstring() + begin, end - begin).c_str());
        };
        found.append({key(1), key(2)});
    }
    ut_file.close(in);
    return true;
}

/// A name that cannot be written is a mistake of the person, not one of the program.
class index_file : public UT_IFILE {
public:
    void openerror() override { ut_userfatal(zeoform("I cannot write the file '%s'.", getfname()), 2); }
};

/// Each segment holds the names of one cell's instances as texts, and their number beside its name.
bool write_index(const char* name, instances& sorted)
{
    index_file file;
    if (!file.create(name)) return false;
    for (long i = 0; i < sorted.size();) {
        const char* const cell = sorted[i].cell;
        long end = i;
        while (end < sorted.size() && sorted[end].cell == cell) ++end;
        UT_STREAM* const out = file.putdataseg(cell, 1, end - i);
        for (; i < end; ++i) out->writestring(sorted[i].name);
        file.enddataseg();
    }
    return file.unload() != 0 && ut_file.geterror() == 0;
}

}  // namespace

int main(int argc, char** argv)
{
    ut_msgman->setprogname("cells");
    instances found;
    if (argc != 3 || !read_netlist(argv[1], found)) {
        ut_error("Give me a netlist that I can read, and the name of a file to write.");
        return 2;
    }
    found.sort<by_cell_and_name>();
    if (!write_index(argv[2], found)) {
        ut_error(zeoform("The file '%s' could not be written to its end.", argv[2]));
        return 2;
    }
    ut_status(zeoform("%d instances", static_cast<int>(found.size())));
}
