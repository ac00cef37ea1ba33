// tests/process/stringUtil_child.cpp: does what a process does once only, or not at all afterwards.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "basutstr.h"
#include "stringUtil.h"

namespace {

void split_a_token_of(int characters)
{
    const std::string token(static_cast<std::size_t>(characters), 'x');
    std::vector<char*> tokens;
    int count = 0;
    ut_strsplit(token.c_str(), count, tokens, ' ', ' ');
    for (char* each : tokens) std::free(each);
    std::printf("%d\n", count);
}

void show_binary(std::string hex)
{
    std::string binary;
    HexToBinary(hex, binary);
    std::printf("%s -> %s\n", hex.c_str(), binary.c_str());
}

void show_hex(std::string binary)
{
    std::string hex;
    BinaryToHex(binary, hex, true);
    std::printf("%s -> %s\n", binary.c_str(), hex.c_str());
}

void hex()
{
    for (const char* text : {"A", "1 aG2", "1\t2"}) show_binary(text);
}

void binary()
{
    for (const char* text : {"10100", "10100x111111", ""}) show_hex(text);
}

void long_binary()
{
    std::string bits(999, '1');
    std::string digits;
    BinaryToHex(bits, digits, false);
    std::printf("%zu\n", std::strlen(internalErrorMsg));
}

void internal_error()
{
    for (int i = 0; i < 2; ++i) internalError("x", "M", "a.c", 12, 1);
}

const std::map<std::string, void (*)()> k_scenarios{
    {"hex", hex},
    {"binary", binary},
    {"long_binary", long_binary},
    {"internal_error", internal_error},
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc > 2)
        split_a_token_of(std::atoi(argv[2]));
    else
        k_scenarios.at(argv[1])();
    return 0;
}
