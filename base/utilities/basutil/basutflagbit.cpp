// basutflagbit.cpp
#include "basutflagbit.h"

constinit std::atomic<std::uint8_t> UT_FLAGBIT8::_flag_index[] = {};
constinit std::atomic<bool> UT_FLAGBIT8::_flag_index_init{false};

constinit std::atomic<std::uint16_t> UT_FLAGBIT16::_flag_index[] = {};
constinit std::atomic<bool> UT_FLAGBIT16::_flag_index_init{false};
