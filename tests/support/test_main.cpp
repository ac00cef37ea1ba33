// tests/support/test_main.cpp: the main program of every test.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <iostream>
#include <new>

/// KETRIOPE_TEST_LOCALE runs a whole program under that locale: what is written must not change.
/// The library's new-handler is off: where a test lets `new` fail, it throws `std::bad_alloc`.
int main(int argc, char** argv)
{
    if (const char* locale = std::getenv("KETRIOPE_TEST_LOCALE")) {
        if (std::setlocale(LC_ALL, locale) == nullptr) {
            std::cerr << "no locale " << locale << " on this machine\n";
            return 2;
        }
        std::locale::global(std::locale(locale));
    }
    std::set_new_handler(nullptr);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
