/// \file i/basutcrc.h
/// Checksums of 8 and 16 bits over texts.
#pragma once
#include "basutstrobj.h"
#include "uttypes.h"

/// A text counts up to its first NUL; "" and null give the seed. A sum goes on over a further text when
/// it is the seed there.
class UT_EXPORT UT_CRC {
public:
    /// The reflected CRC of the polynomial 0x8C, as the Dallas/Maxim one: "123456789" gives 0xA1 from 0.
    static unsigned char crc8(const char* text, unsigned char seed);
    static unsigned char crc8(UT_STROBJ text, unsigned char seed);
    /// The reflected CRC of the polynomial 0xA001: "123456789" gives 0xBB3D from 0.
    static unsigned short crc16(const char* text, unsigned short seed);
    static unsigned short crc16(UT_STROBJ text, unsigned short seed);
};
