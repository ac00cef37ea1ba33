// utmsgdbmanager.cpp: the life of the one message database, and its critical section.
#include "utmsgdbmanager.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "msgposts.h"
#include "msgsection.h"

constinit msgDbManager* msgDbManager::m_uniqueMsgDbMgr = nullptr;
constinit std::FILE* msgDbManager::g_debugFile = nullptr;

std::recursive_mutex& ketriope::message_section()
{
    static std::recursive_mutex& mutex = *new std::recursive_mutex;
    return mutex;
}

ketriope::section_lock ketriope::section_in_time()
{
    constexpr std::chrono::seconds k_patience{2};
    constexpr std::chrono::milliseconds k_pause{1};
    static constinit std::atomic<bool> in_vain = false;  // once is enough
    section_lock section(message_section(), std::try_to_lock);
    const auto end = std::chrono::steady_clock::now() + k_patience;
    while (!section && !in_vain) {
        std::this_thread::sleep_for(k_pause);
        if (!section.try_lock() && std::chrono::steady_clock::now() > end) in_vain = true;
    }
    return section;
}

msgDbManager::msgDbManager() : m_posts(std::make_shared<post_table>())
{
    // The shape that the tables have always begun with; nobody may rely on the order that follows from it.
    constexpr std::size_t k_buckets = 8;
    const auto shape = [](auto& table) {
        table.max_load_factor(1.0F);
        table.rehash(k_buckets);
    };
    shape(m_messages);
    shape(m_files);
    shape(m_logs);
}

msgDbManager::~msgDbManager()
{
    if (std::FILE* file = std::atomic_ref<std::FILE*>(g_debugFile).exchange(nullptr)) std::fclose(file);
    forceClosed();
}

msgDbManager* msgDbManager::initMsgDbManager(const char* dir)
{
    if (msgDbManager* const made = findUniqueDbManager()) return made;
    const ketriope::section_guard section(ketriope::message_section());
    if (msgDbManager* const made = findUniqueDbManager()) return made;  // by another thread meanwhile
    auto* const manager = new msgDbManager;
    if (dir != nullptr) manager->m_sourceDir = dir;
    setUniqueDbManager(manager);
    return manager;
}

msgDbManager* msgDbManager::findUniqueDbManager()
{
    return std::atomic_ref<msgDbManager*>(m_uniqueMsgDbMgr).load(std::memory_order_acquire);
}

void msgDbManager::setUniqueDbManager(msgDbManager* manager)
{
    std::atomic_ref<msgDbManager*>(m_uniqueMsgDbMgr).store(manager, std::memory_order_release);
}

int msgDbManager::msgEnterCriticalSection()
{
    ketriope::message_section().lock();
    return 1;
}

int msgDbManager::msgLeaveCriticalSection()
{
    ketriope::message_section().unlock();
    return 1;
}
