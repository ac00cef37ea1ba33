// foundry.cpp
#include "foundry.h"

#include <cstdlib>
#include <string_view>
#include <vector>

#include "basutfile.h"
#include "basutform.h"
#include "basutstr.h"
#include "basutstream.h"
#include "msgman.h"
#include "platform.h"
#include "stringUtil.h"
#include "utgetenv.h"
#include "utproduct.h"
#include "version_file.h"

using ketriope::platform::os;

constinit unsigned char UT_SINGLETON::spdup_4_large_design = 0;
constinit unsigned char UT_SINGLETON::internal_memusage = 0;

constinit UT_FOUNDRY* UT_FOUNDRY::_foundryObj = nullptr;
constinit const char* const UT_FOUNDRY::_foundryEnvName = "FOUNDRY";
constinit UT_COPYRIGHT_OBJ* UT_COPYRIGHT_OBJ::_obj = nullptr;

namespace {

constexpr const char* k_older_name = "ZVT_ORLA";
constexpr const char* k_further_name = "MYFPGAPATH";

// How the root was found, as the diagnosis shows it; the bits are or-ed.
constexpr unsigned k_by_switch = 0x1;
constexpr unsigned k_by_settings_path = 0x40;  ///< kept for readers of the code: nothing sets it
constexpr unsigned k_by_name = 0x80;
constexpr unsigned k_by_older_name = 0x100;

bool is_set(const char* name)
{
    return ut_getenv(name) != nullptr;
}

/// `text` without white space at its ends.
std::string trimmed(std::string_view text)
{
    constexpr const char* k_blanks = " \t\b\n\r";
    const std::size_t begin = text.find_first_not_of(k_blanks);
    if (begin == std::string_view::npos) return {};
    return std::string(text.substr(begin, text.find_last_not_of(k_blanks) + 1 - begin));
}

/// What the environment says about the roots.
struct named_roots {
    std::string path;     ///< all of them
    std::string further;  ///< those of the path that the third variable adds
    unsigned code = 0;
};

named_roots read_environment(const char* first_name)
{
    struct variable {
        const char* name;
        unsigned bit;
    };
    const variable variables[] = {{first_name, k_by_name}, {k_older_name, k_by_older_name}};
    named_roots roots;
    roots.code = is_set("QVS_FOUNDRY_CODE") ? k_by_switch : 0;
    for (const variable& tried : variables) {
        const char* const value = ut_getenv(tried.name);
        if (value == nullptr) continue;
        roots.path = trimmed(value);  // it wins even if it is empty
        roots.code |= tried.bit;
        break;
    }
    if (const char* const value = ut_getenv(k_further_name)) roots.further = trimmed(value);
    if (!roots.path.empty() && !roots.further.empty()) roots.path += ';';
    roots.path += roots.further;
    return roots;
}

/// Makes a directory of each bare drive: `C:` becomes `C:/`. An empty first entry turns this off.
void complete_drives(std::string& path)
{
    std::size_t end = path.find(';');
    if (end == 0) return;
    while (true) {
        if (end == std::string::npos) end = path.size();
        if (path[end - 1] == ':') path.insert(end++, 1, '/');
        if (end + 1 >= path.size()) return;
        end = path.find(';', end + 1);
    }
}

void show_diagnosis(const char* root, const named_roots& roots)
{
    const char* const by = (roots.code & k_by_settings_path) != 0 ? "QVS_INI_PATH"
                           : (roots.code & k_by_name) != 0        ? UT_FOUNDRY::getFoundryEnvName()
                           : (roots.code & k_by_older_name) != 0  ? k_older_name
                                                                  : "???";
    *ut_msgman << UT_FOUNDRY::getFoundryEnvName() << " is <" << root << "> we used " << std::endl;
    *ut_msgman << by << " environment variable to find it. Code " << zeoform("%8.8x", roots.code) << "-"
               << "qvs_0_0.ini" << std::endl;
    if (roots.further.empty()) return;
    *ut_msgman << "Search path also includes <" << roots.further.c_str() << ">, we used " << std::endl;
    *ut_msgman << k_further_name << " environment variable to find it." << std::endl;
}

/// Tells of `root`, whose setting is shown as `setting`, that `part` is missing in it.
void require_subdirectory(const char* root, const char* part)
{
    const char* const name = UT_FOUNDRY::getFoundryEnvName();
    if (ut_file.exist(zeoform("%s/%s", root, part))) return;
    ut_userfatal(zeoform("The specified %s directory does not contain a \"%s\" subdirectory. "
                         "Current setting is %s=\"%s\"",
                         name, part, name, root));
}

void check_root(const char* root)
{
    const char* const name = UT_FOUNDRY::getFoundryEnvName();
    std::string setting = root;
    ut_strreplacechar(setting.data(), '/', '\\');
    if (!ut_file.exist(root)) {
        ut_userfatal(zeoform("The %s environment variable does not point to an existing directory.  "
                             "Current setting is %s=\"%s\"",
                             name, name, setting.c_str()));
    } else if (!ut_file.isdir(root)) {
        ut_userfatal(zeoform("The %s environment variable does not point to a directory.  "
                             "Current setting is %s=\"%s\"",
                             name, name, setting.c_str()));
    } else {
        require_subdirectory(root, "data");
        require_subdirectory(root, "bin");
    }
}

/// The version as the suite shows it.
std::string composed(const ketriope::version_numbers& numbers)
{
    std::string text = std::string(ketriope::k_suite) + " (64-bit) " + numbers.major.value_or("0") + '.' +
                       numbers.minor.value_or("0.0") + '.' + numbers.build.value_or("0");
    if (numbers.patch) text += "  Patch Version(s) " + *numbers.patch;
    return text;
}

std::string version_information()
{
    constexpr const char k_above[] = {ketriope::platform::k_separator, '.', '.', '\0'};
    UT_STREAM* stream = nullptr;
    const auto open_below = [&stream](const std::string& root) {
        stream = ut_file.open(ketriope::version_file_below(root).c_str(), UT_ACCESS_READ, 0);
        return stream != nullptr;
    };
    if (const char* const tools = ut_getenv("TOOLRTF")) {
        open_below(tools);
    } else if (const char* const root = ut_getenv("FOUNDRY")) {
        if (!open_below(root)) open_below(std::string(root) + k_above);
    }
    if (stream == nullptr) return std::string(ketriope::k_suite) + " Version 0.0.0";
    const ketriope::version_numbers numbers = ketriope::read_version_pieces(*stream);
    ut_file.close(stream);
    return composed(numbers);
}

/// A path of the Tcl installation, which lies in the tools' root or beside the suite's.
std::string tcl_path(const char* path)
{
    if (const char* const tools = ut_getenv("TOOLRTF")) return std::string(tools) + path;
    if (const char* const root = ut_getenv("FOUNDRY")) return std::string(root) + "/.." + path;
    return {};
}

long machine_type(unsigned long version)
{
    if (version < 0x80000000UL) return 256;
    return (version & 0xFFFFUL) > 255 ? 4096 : 2048;
}

}  // namespace

// ---- the roots

UT_FOUNDRY::UT_FOUNDRY()
{
    const bool no_speedup = is_set("QVS_NO_LARGE_DESIGN_SPDUP");
    UT_SINGLETON::spdup_4_large_design = no_speedup ? 0 : 1;
    if (no_speedup) *ut_msgman << "Running disable large design spdup version!" << std::endl;
    UT_SINGLETON::internal_memusage = is_set("QVS_SINGLETON_MEMUSAGE") ? 1 : 0;

    const bool diagnose = is_set("QVS_FOUNDRY_DIAG");
    named_roots roots = read_environment(_foundryEnvName);
    if (roots.path.empty()) return;
    ut_strreplacechar(roots.path.data(), '\\', '/');
    complete_drives(roots.path);
    all_foundry_ = ut_strdup(roots.path.c_str());
    foundry_ = ut_strdup(roots.path.substr(0, roots.path.find(';')).c_str());
    if (diagnose) show_diagnosis(foundry_, roots);
}

UT_FOUNDRY::~UT_FOUNDRY()
{
    std::free(foundry_);
    foundry_ = nullptr;
}

UT_FOUNDRY& UT_FOUNDRY::instance(unsigned char check)
{
    if (_foundryObj == nullptr) _foundryObj = new UT_FOUNDRY;
    if (check != 0 && _foundryObj->hasItBeenChecked() == 0) _foundryObj->checkFoundry();
    return *_foundryObj;
}

const char* UT_FOUNDRY::getFoundry(unsigned char check)
{
    return instance(check).foundry_;
}

const char* UT_FOUNDRY::getAllFoundry(unsigned char check)
{
    return instance(check).all_foundry_;
}

void UT_FOUNDRY::releaseFoundry()
{
    delete _foundryObj;
    _foundryObj = nullptr;
}

void UT_FOUNDRY::checkFoundry()
{
    struct checked_at_the_end {  // also when a report throws
        unsigned char& flag;
        ~checked_at_the_end() { flag = 1; }
    } const guard{checked_};
    if (foundry_ == nullptr) {
        ut_userfatal(zeoform("The %s environment variable is not set.", _foundryEnvName));
        return;
    }
    std::vector<std::string> directories = split(foundry_, ';');
    // What is no directory is passed over without a word: only a vanishing one is told of below.
    std::erase_if(directories, [](const std::string& root) { return !ut_file.isdir(root.c_str()); });
    for (const std::string& root : directories) check_root(root.c_str());
}

const char* ut_getenv_rtf_env_var()
{
    return UT_FOUNDRY::getFoundry(0);
}

const char* ut_getzeocadpath(unsigned char check)
{
    return UT_FOUNDRY::getFoundry(check);
}

// ---- the notice

UT_COPYRIGHT_OBJ::UT_COPYRIGHT_OBJ()
    : c1_(ketriope::k_notice[0]), c2_(ketriope::k_notice[1]), c3_(ketriope::k_notice[2]),
      c4_(ketriope::k_notice[3]), c5_(ketriope::k_notice[4])
{
    std::string all;
    for (const char* const line : ketriope::k_notice) all.append(line).append("\n");
    all_ = ut_strdup(all.c_str());
}

UT_COPYRIGHT_OBJ* UT_COPYRIGHT_OBJ::get()
{
    if (_obj == nullptr) _obj = new UT_COPYRIGHT_OBJ;
    return _obj;
}

// ---- machine, version and Tcl

long ut_getmachinetype()
{
    static const long type = machine_type(os().system_version());
    return type;
}

const char* ut_getbinplatform()
{
    return "nt64";
}

char* ut_istestmode()
{
    return const_cast<char*>(ut_getenv("QVS_TEST_MODE"));
}

int ut_get_version_information(std::string& out)
{
    static const std::string& text = *new std::string(version_information());
    out = text;
    return static_cast<int>(out.size());
}

std::string ut_getTclShellPath()
{
    return tcl_path("/tcltk/windows/bin/tclsh");
}

std::string ut_getTclLibraryPath()
{
    return tcl_path("/tcltk/windows/lib/tcl8.6");
}
