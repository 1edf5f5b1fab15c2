#include "failing_new.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t g_failingSize = 0;

} // namespace

namespace common::log::test {

void failNewFrom(std::size_t size) { g_failingSize = size; }

} // namespace common::log::test

// Replaced for the whole program, which the standard allows; the forms for arrays come here as well.
void * operator new(std::size_t size)
{
    if (g_failingSize == 0 || size < g_failingSize) {
        if (void * const memory = std::malloc(size != 0 ? size : 1)) {
            return memory;
        }
    }
    throw std::bad_alloc();
}

void operator delete(void * memory) noexcept { std::free(memory); }
void operator delete(void * memory, std::size_t /*size*/) noexcept { std::free(memory); }
