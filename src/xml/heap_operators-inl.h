// Defines the operators new and delete that a class of ztk/xml.h declares.
#pragma once

#include <cstddef>
#include <new>

#include "platform/memory/allocation.h"

// A macro, because a base class would take the exported operators away from the class itself.
#define ZTK_XML_DEFINE_HEAP_OPERATORS(Class)                                       \
    void* Class::operator new(std::size_t bytes) noexcept {                        \
        return allocation::RuntimeAlloc(bytes);                                    \
    }                                                                              \
    void* Class::operator new(std::size_t bytes, const std::nothrow_t&) noexcept { \
        return allocation::RuntimeAlloc(bytes);                                    \
    }                                                                              \
    void Class::operator delete(void* block) noexcept {                            \
        allocation::RuntimeFree(block);                                            \
    }                                                                              \
    void Class::operator delete(void* block, const std::nothrow_t&) noexcept {     \
        allocation::RuntimeFree(block);                                            \
    }                                                                              \
    static_assert(true, "takes the semicolon")
