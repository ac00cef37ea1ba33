/// \file i/basutstore.h
/// The interface of the keyed stores: hash tables, trees, and stores of a tool's own.
#pragma once
#include "uttypes.h"

/// A store of pointers under keys. What a key is, and how two compare, is the derived class's to say.
///
/// Ownership: a store keeps the data pointers, and copies neither keys nor data.
class UT_EXPORT UT_STORE {
public:
    UT_STORE();
    UT_STORE(const UT_STORE&);
    UT_STORE& operator=(const UT_STORE&);
    virtual ~UT_STORE();

    /// Stores `data` under `key`, or the key itself if `data` is null. True when it is stored.
    virtual bool s_add(const void* key, void* data) = 0;
    /// The data under `key`; null if there is none.
    virtual void* s_find(const void* key) = 0;
    /// Takes the data under `key` out of the store and returns it; null if there is none.
    virtual void* s_remove(const void* key) = 0;
};
