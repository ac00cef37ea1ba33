// utmsgdbmanager.cpp: the life of the one message database, and its critical section.
#include "utmsgdbmanager.h"

#include <utility>

#include "msgsection.h"

constinit msgDbManager* msgDbManager::m_uniqueMsgDbMgr = nullptr;
constinit std::FILE* msgDbManager::g_debugFile = nullptr;

std::recursive_mutex& ketriope::message_section()
{
    static std::recursive_mutex& mutex = *new std::recursive_mutex;
    return mutex;
}

msgDbManager::msgDbManager()
{
    // The shape that the tables have always begun with; nobody may rely on the order that follows from it.
    constexpr std::size_t k_buckets = 8;
    const auto shape = [](auto& table) {
        table.max_load_factor(1.0F);
        table.rehash(k_buckets);
    };
    shape(m_messages);
    shape(m_files);
    shape(m_posts);
    shape(m_logs);
}

msgDbManager::~msgDbManager()
{
    if (std::FILE* file = std::exchange(g_debugFile, nullptr)) std::fclose(file);
    forceClosed();
}

msgDbManager* msgDbManager::initMsgDbManager(const char* dir)
{
    const ketriope::section_guard section(ketriope::message_section());
    if (m_uniqueMsgDbMgr == nullptr) {
        m_uniqueMsgDbMgr = new msgDbManager;
        if (dir != nullptr) m_uniqueMsgDbMgr->m_sourceDir = dir;
    }
    return m_uniqueMsgDbMgr;
}

msgDbManager* msgDbManager::findUniqueDbManager()
{
    return m_uniqueMsgDbMgr;
}

void msgDbManager::setUniqueDbManager(msgDbManager* manager)
{
    m_uniqueMsgDbMgr = manager;
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
