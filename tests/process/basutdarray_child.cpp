// tests/process/basutdarray_child.cpp: tells the first capacity of arrays made without a growth step.
//
// Each argument is an element size. Before the arrays are made, the program changes the variable that the
// library has read at load.
#include <cstdio>
#include <cstdlib>

#include "basutdarray.h"

int main(int count, char** arguments)
{
    ::setenv("DARRAY_DEFAULT_ELE_CNT", "77", 1);
    for (int i = 1; i < count; ++i) {
        void* block = nullptr;
        const UT_DARRAY array(&block, std::atoi(arguments[i]), 0, 0);
        std::printf("%ld ", array.getelemsallocated());
    }
    const DARRAY_LONG numbers;
    std::printf("%ld\n", numbers.getelemsallocated());
    return 0;
}
