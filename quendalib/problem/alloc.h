/* Arrays that the problem layer hands to the library come from the
 * library's allocator; these are the few ways it uses it. */
#pragma once

#include <Python.h>
#include <stdint.h>

#include "qnda.h"

/* Frees *pp (harmless on NULL) and sets it to NULL. */
static inline void
qarr_free(void *pp)
{
    qo_MemoryAllocator_Free_Untyped(qo_MemoryAllocator_DefaultHeap, (void **)pp);
}

/* New block of bytes; NULL with MemoryError. */
static inline void *
qarr_alloc(size_t bytes)
{
    void *res = NULL;
    if (qo_MemoryAllocator_Alloc_Untyped(qo_MemoryAllocator_DefaultHeap, bytes ? bytes : 1, &res) !=
            0 ||
        res == NULL) {
        PyErr_NoMemory();
        return NULL;
    }
    return res;
}

/* Resizes *pp to bytes; 0, or -1 leaving *pp untouched.  No exception. */
static inline int
qarr_realloc(void *pp, size_t bytes)
{
    void *q = *(void **)pp;
    if (qo_MemoryAllocator_Realloc_Untyped(qo_MemoryAllocator_DefaultHeap, &q, bytes ? bytes : 1) !=
            0 ||
        q == NULL)
        return -1;
    *(void **)pp = q;
    return 0;
}

/* New capacity >= need: at least initcap, doubling. */
static inline int64_t
qarr_newcap(int64_t cap, int64_t need, int64_t initcap)
{
    if (cap < initcap)
        cap = initcap;
    while (cap < need)
        cap *= 2;
    return cap;
}

/* qarr_free of each of several arrays. */
template<typename... T>
static inline void
qarr_free_all(T *...pp)
{
    (qarr_free(pp), ...);
}
