// tests/basutstore_test.cpp
#include "basutstore.h"

#include <map>
#include <memory>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "virtual_slots.h"

namespace {

/// A store of a tool's own, keyed by texts.
class text_store final : public UT_STORE {
public:
    explicit text_store(bool* ended = nullptr) : ended_(ended) {}
    text_store(const text_store&) = default;
    text_store& operator=(const text_store&) = default;
    ~text_store() override
    {
        if (ended_ != nullptr) *ended_ = true;
    }

    bool s_add(const void* key, void* data) override { return data_.emplace(text(key), data).second; }
    void* s_find(const void* key) override
    {
        const auto found = data_.find(text(key));
        return found != data_.end() ? found->second : nullptr;
    }
    void* s_remove(const void* key) override
    {
        void* const data = s_find(key);
        data_.erase(text(key));
        return data;
    }

private:
    static std::string text(const void* key) { return static_cast<const char*>(key); }

    std::map<std::string, void*> data_;
    bool* ended_;
};

TEST(UtStore, AToolsOwnStoreIsUsedThroughTheInterface)
{
    text_store own;
    UT_STORE& store = own;
    int data = 0;
    EXPECT_TRUE(store.s_add("a", &data));
    EXPECT_FALSE(store.s_add("a", &data));
    EXPECT_EQ(store.s_find("a"), &data);
    EXPECT_EQ(store.s_remove("a"), &data);
    EXPECT_EQ(store.s_find("a"), nullptr);
}

TEST(UtStore, IsDestroyedThroughTheInterface)
{
    bool ended = false;
    std::unique_ptr<UT_STORE>(new text_store(&ended)).reset();
    EXPECT_TRUE(ended);
}

TEST(UtStore, CopiesAndAssigns)
{
    text_store one;
    one.s_add("a", &one);
    text_store other(one);
    EXPECT_EQ(other.s_find("a"), &one);
    other = text_store();
    EXPECT_EQ(other.s_find("a"), nullptr);
}

TEST(UtStore, LeavesItsThreeOperationsToTheDerivedClass)
{
    EXPECT_TRUE(std::is_abstract_v<UT_STORE>);
    EXPECT_TRUE(std::has_virtual_destructor_v<UT_STORE>);
    EXPECT_EQ(sizeof(UT_STORE), sizeof(void*));
}

#if defined(TEST_KNOWS_SLOTS)
TEST(UtStore, ItsOperationsStandBehindTheDestructorInTheirOrder)
{
    EXPECT_EQ(slot_of(&UT_STORE::s_add), 2U);
    EXPECT_EQ(slot_of(&UT_STORE::s_find), 3U);
    EXPECT_EQ(slot_of(&UT_STORE::s_remove), 4U);
}
#endif

}  // namespace
