/* Binary search over vectors of entries sorted by id, and the guard that
 * keeps C++ exceptions inside the map functions (shared by maps.cpp and
 * maps_index.cpp). */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <new>
#include <vector>

#include <Python.h>

/* The interpreter's small-block allocator for the algebra's buffers:
 * faster than malloc for the few-term maps of an expression, and without
 * malloc's header per block.  Only used with the interpreter lock held,
 * as everything in the algebra is. */
template<class T>
struct py_allocator {
    using value_type = T;
    py_allocator() = default;
    template<class U>
    py_allocator(const py_allocator<U> &)
    {}
    T *allocate(size_t n)
    {
        void *p = n <= PY_SSIZE_T_MAX / sizeof(T) ? PyMem_Malloc(n * sizeof(T)) : NULL;
        if (p == NULL)
            throw std::bad_alloc();
        return (T *)p;
    }
    void deallocate(T *p, size_t)
    {
        PyMem_Free(p);
    }
    template<class U>
    bool operator==(const py_allocator<U> &) const
    {
        return true;
    }
    template<class U>
    bool operator!=(const py_allocator<U> &) const
    {
        return false;
    }
};

/* Class-level new and delete through the same allocator. */
#define PY_ALLOCATED                                                                               \
    static void *operator new(size_t n)                                                            \
    {                                                                                              \
        void *p = PyMem_Malloc(n);                                                                 \
        if (p == NULL)                                                                             \
            throw std::bad_alloc();                                                                \
        return p;                                                                                  \
    }                                                                                              \
    static void *operator new(size_t n, const std::nothrow_t &) noexcept                           \
    {                                                                                              \
        return PyMem_Malloc(n);                                                                    \
    }                                                                                              \
    static void operator delete(void *p)                                                           \
    {                                                                                              \
        PyMem_Free(p);                                                                             \
    }

#define MAPS_TRY try {
#define MAPS_CATCH(failval)                                                                        \
    }                                                                                              \
    catch (...)                                                                                    \
    {                                                                                              \
        return failval;                                                                            \
    }

template<class E, class A>
static inline E *
find_sorted(std::vector<E, A> &e, size_t nsorted, uint32_t id)
{
    size_t lo = 0, hi = nsorted;
    while (lo < hi) {
        size_t mid = (lo + hi) >> 1;
        uint32_t mid_id = e[mid].id;
        if (mid_id < id)
            lo = mid + 1;
        else if (mid_id > id)
            hi = mid;
        else
            return &e[mid];
    }
    return NULL;
}

template<class E, class A>
static inline size_t
lower_pos(std::vector<E, A> &e, size_t nsorted, uint32_t id)
{
    size_t lo = 0, hi = nsorted;
    while (lo < hi) {
        size_t mid = (lo + hi) >> 1;
        if (e[mid].id < id)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo;
}
