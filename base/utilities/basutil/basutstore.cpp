// basutstore.cpp: bodies of the interface, so that its table of virtual functions stands in one place.
#include "basutstore.h"

UT_STORE::UT_STORE() = default;
UT_STORE::UT_STORE(const UT_STORE&) = default;
UT_STORE& UT_STORE::operator=(const UT_STORE&) = default;
UT_STORE::~UT_STORE() = default;
