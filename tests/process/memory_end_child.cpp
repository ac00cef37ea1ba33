// tests/process/memory_end_child.cpp: a tool that asks for more memory than there is.
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include <sys/resource.h>

#include "basutmemmgr.h"
#include "msgman.h"

namespace {

constexpr std::size_t k_refused = 12'345'678;  ///< bytes of the request that fails
int refusals = 0;                              ///< how often it will
bool refuse_all = false;

bool refused(std::size_t size)
{
    return refuse_all || (size == k_refused && refusals-- > 0);
}

}  // namespace

// As the runtime's, but for what is refused: no sanitizer has a hand in it. g++ takes them for a mismatched
// pair where it sees into them.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    for (;;) {
        if (!refused(size))
            if (void* const block = std::malloc(size)) return block;
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
}
[[gnu::noinline]] void operator delete(void* block) noexcept
{
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace {

/// Memory that a tool could do without: enough for so many failures.
class spare final : public ketriope::memory_recovery {
public:
    explicit spare(int pieces) : pieces_(pieces) {}
    unsigned char recover() override
    {
        std::printf("recover\n");
        return pieces_-- > 0 ? 1 : 0;
    }

private:
    int pieces_;
};

void ask()
{
    ::operator delete(::operator new(k_refused));
    std::puts("got it");
}

void ask_twice_over(int spare_pieces)
{
    static spare memory(spare_pieces);
    ut_memmgr.recovery = &memory;
    refusals = 2;
    ask();
}

void ask_without_handler()
{
    std::set_new_handler(nullptr);
    refusals = 1;
    try {
        ask();
    } catch (const std::bad_alloc&) {
        std::puts("bad_alloc");
    }
}

/// Takes all memory in small pieces.
void take_all()
{
    constexpr rlim_t k_limit = 200U << 20U;
    const rlimit limit{k_limit, k_limit};
    ::setrlimit(RLIMIT_AS, &limit);
    for (;;)
        *static_cast<void* volatile*>(::operator new(32)) = nullptr;  // memory that nobody uses is not taken
}

}  // namespace

int main(int, char** argv)
{
    const std::string scenario = argv[1];
    if (scenario == "installed") std::puts(std::get_new_handler() == ut_new_handler ? "ours" : "another");
    if (scenario == "refused") refusals = 1;
    if (scenario == "refused" || scenario == "granted") ask();
    if (scenario == "recovered") ask_twice_over(2);
    if (scenario == "not recovered") ask_twice_over(1);
    if (scenario == "no handler") ask_without_handler();
    if (scenario == "nothing left") {
        refuse_all = true;
        ask();
    }
    if (scenario == "all taken after a message") ut_error("first");
    if (scenario.find("all taken") == 0) take_all();
    return 0;
}
