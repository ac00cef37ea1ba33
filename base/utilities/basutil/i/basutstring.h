/// \file i/basutstring.h
/// A growing character buffer for text that is built one character at a time.
///
/// Shape: the block holds the capacity and a terminator; a full block doubles. The text is always
/// terminated. Threads: no locks; an object belongs to one thread at a time.
#pragma once
#include "uttypes.h"

class UT_EXPORT UT_STRING {
public:
    /// Takes a block for `capacity` characters; at least 10, and no more than 32 bits can count.
    explicit UT_STRING(long capacity);
    UT_STRING(const UT_STRING&) = delete;
    UT_STRING& operator=(const UT_STRING&) = delete;
    ~UT_STRING();

    /// Appends `text`, which must not be null. Cost: amortised constant per character.
    /// Errors: exhausted memory, or a text past 2^31 - 1 characters, throws `std::bad_alloc`.
    void append(const char* text);
    /// Appends `c`; a NUL is ignored.
    void append(char c);
    /// Makes the text empty and keeps the block.
    void reset();

    /// Lifetime: good until the next append.
    const char* getstr() const { return buffer_; }
    long strlen() const { return length_; }

private:
    void grow_buffer();

    char* buffer_;
    ut_long capacity_;
    ut_long length_;
};
