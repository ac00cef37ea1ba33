// basutasd.cpp
#include "basutasd.h"

#include <memory>
#include <string>
#include <utility>

#include "basutfile.h"
#include "basutstr.h"
#include "basutstream.h"
#include "contract.h"

namespace {

constexpr ketriope::numbered k_no_file_of_base{.number = "1401"};
constexpr ketriope::numbered k_no_file_of_tool{.number = "1402"};
constexpr std::size_t k_buffer = 4096;

std::string text_of(const char* text)
{
    return text != nullptr ? text : "";
}

}  // namespace

constinit UT_ASD* ut_asdman = nullptr;

UT_ASD::UT_ASD(const char* base)
{
    const std::string name = text_of(base);
    if (open((name + ".asd").c_str())) return;
    ketriope::numbered_message(k_no_file_of_base, "Cannot open writable file '%s.asd'.\n", name.c_str());
    UT_ASD::finish();
}

UT_ASD::UT_ASD(const char* base, const char* tool)
{
    init(base, tool);
}

UT_ASD::~UT_ASD() noexcept(false)
{
    close();
}

void UT_ASD::init(const char* base, const char* tool)
{
    const std::string name = text_of(base);
    std::string tool_name = text_of(tool);
    if (!open((name + '_' + tool_name + ".asd").c_str())) {
        ketriope::numbered_message(k_no_file_of_tool, "Cannot open writable file '%s_%s.asd'.\n",
                                   name.c_str(), tool_name.c_str());
        UT_ASD::finish();
        return;
    }
    ut_strupr(tool_name.data());
    section(("Daideix " + tool_name).c_str());
}

void UT_ASD::finish()
{
    close();
    delete std::exchange(ut_asdman, nullptr);  // this very object, as a rule
}

void UT_ASD::section(const char* name)
{
    first_section_ = 0;
    write_line(('[' + text_of(name) + "]\n").c_str());
}

void UT_ASD::comment(const char* text)
{
    write_line(("; " + text_of(text) + '\n').c_str());
}

void UT_ASD::data(const char* text)
{
    write_line((text_of(text) + '\n').c_str());
}

void UT_ASD::data(const char* key, long number)
{
    data(key, std::to_string(static_cast<ut_long>(number)).c_str());
}

void UT_ASD::data(const char* key, const char* value)
{
    write_line((text_of(key) + " = " + text_of(value) + ";\n").c_str());
}

void UT_ASD::write_line(const char* line)
{
    if (stream_ == nullptr) return;
    *stream_ << line;
    stream_->flush();
}

bool UT_ASD::open(const char* name)
{
    auto stream = std::make_unique<UT_STREAM>(UT_ACCESS_WRITE, k_buffer, &ut_file);
    if (ut_file.open(name, stream.get(), 1) == nullptr) return false;
    close();  // a dump may be begun anew
    stream_ = stream.release();
    first_section_ = 1;
    started_ = 1;
    return true;
}

/// The stream leaves `ut_file` as it ends, which closes the file.
void UT_ASD::close()
{
    delete std::exchange(stream_, nullptr);
}
