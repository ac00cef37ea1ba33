/// \file i/basutdes.h
/// A buffer enciphered in place with DES (FIPS 46), for files that are not to be read by chance.
///
/// Blocks of 8 bytes, most significant byte first, in cipher block chaining form: the chain starts at
/// zero in each call, so one block alone comes out as the plain cipher gives it. The library holds no key.
/// DES is broken for more than half of what it was made for: trust no secret to it.
#pragma once
#include "uttypes.h"

/// Enciphers `length` bytes at `data`, a multiple of 8.
///
/// Of `key` the first 8 bytes count; the lowest bit of each, the parity, is not looked at.
/// Errors: a null argument, a length below 1 or one that is no multiple of 8 breaks the contract, exit
/// value 19, and `data` stays as it was.
UT_EXPORT void utdes_encode(char* data, int length, const char* key);

/// Deciphers what `utdes_encode` enciphered with the same key. Errors: as above.
UT_EXPORT void utdes_decode(char* data, int length, const char* key);
