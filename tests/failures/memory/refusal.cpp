#include "tests/failures/memory/refusal.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace {

struct Plan {
    bool armed;
    long nth;
    bool onward;
    test::Refused who;
    pid_t caller;
    long count;
};

Plan plan;
long live_blocks = 0;

// Shared with the children, so that a refusal in one of them is known here.
long* refusals = nullptr;

bool refuse() {
    if (!plan.armed) {
        return false;
    }
    const bool isCaller = ::getpid() == plan.caller;
    if (isCaller != (plan.who == test::Refused::caller)) {
        return false;
    }
    ++plan.count;
    if (plan.onward ? plan.count < plan.nth : plan.count != plan.nth) {
        return false;
    }
    ++*refusals;
    errno = ENOMEM;
    return true;
}

// An exception that comes out of an unwinding ends here, in whatever process.
[[noreturn]] void terminated() {
    static const char text[] = "std::terminate was called\n";
    static_cast<void>(!::write(STDERR_FILENO, text, sizeof text - 1));
    std::abort();
}

[[gnu::constructor]] void prepare() {
    void* const page = ::mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) {
        std::abort();
    }
    refusals = static_cast<long*>(page);
    // Last of all in a process: what a tool does at its end, like writing out what it counted,
    // is not refused any more.
    if (std::atexit(test::Attempt::disarm) != 0) {
        std::abort();
    }
    std::set_terminate(terminated);
}

}  // namespace

namespace test {

Attempt::Attempt(long nth, bool onward, Refused who) : nth_(nth), onward_(onward), who_(who) {
    *refusals = 0;
}

void Attempt::disarm() { plan.armed = false; }

bool Attempt::refused() const { return *refusals != 0; }

std::string Attempt::text() const {
    return "request " + std::to_string(nth_) + (onward_ ? " and later ones" : " only") +
           (who_ == Refused::caller ? " of the caller" : " of a child");
}

Attempt::Armed::Armed(const Attempt& attempt) {
    plan = {attempt.nth_ > 0, attempt.nth_, attempt.onward_, attempt.who_, ::getpid(), 0};
}

Attempt::Armed::~Armed() { disarm(); }

bool runRefused(const Attempt& attempt, const std::function<void()>& operation) {
    const pid_t self = ::getpid();
    const bool refused = attempt.run(operation);
    if (::getpid() != self) {
        std::_Exit(refused ? out_of_memory : 1);
    }
    return refused;
}

long liveBlocks() { return live_blocks; }

std::string whyRefusalFails() {
    const Attempt attempt(1, false, Refused::caller);
    const bool refused = attempt.run([] { delete new std::string(100, 'x'); });
    return refused ? "" : "SKIPPED something else stands in for the heap (a memory checker?)";
}

}  // namespace test

#ifdef REFUSAL_BY_WRAPPING

// The linker turns the calls of the program's own objects into these (--wrap).
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
char* __real_strdup(const char* text);

void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
char* __wrap_strdup(const char* text);

void* __wrap_malloc(std::size_t size) { return refuse() ? nullptr : __real_malloc(size); }

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return refuse() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size) {
    return refuse() ? nullptr : __real_realloc(block, size);
}

char* __wrap_strdup(const char* text) { return refuse() ? nullptr : __real_strdup(text); }
}

void* operator new(std::size_t size) {
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

// A sanitizer's own one would not fit the deletes below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

// Of the sanitizers' own interface. Not every compiler brings the header for it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*made)(const volatile void* block, std::size_t size),
    void (*freed)(const volatile void* block));

namespace {

// The sanitizer tells every block, whoever asked for it.
void blockMade(const volatile void* /*block*/, std::size_t /*size*/) { ++live_blocks; }

void blockFreed(const volatile void* block) { live_blocks -= block != nullptr ? 1 : 0; }

[[gnu::constructor]] void watchBlocks() {
    if (__sanitizer_install_malloc_and_free_hooks(blockMade, blockFreed) == 0) {
        std::abort();
    }
}

}  // namespace

#else

// The C library's own under their other names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept {
    void* const block = refuse() ? nullptr : __libc_malloc(size);
    live_blocks += block != nullptr ? 1 : 0;
    return block;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    void* const block = refuse() ? nullptr : __libc_calloc(count, size);
    live_blocks += block != nullptr ? 1 : 0;
    return block;
}

void* realloc(void* block, std::size_t size) noexcept {
    void* const moved = refuse() ? nullptr : __libc_realloc(block, size);
    live_blocks += block == nullptr && moved != nullptr ? 1 : 0;
    return moved;
}

void free(void* block) noexcept {
    live_blocks -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
}

#endif
