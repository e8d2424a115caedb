/* Binary search over vectors of entries sorted by id, and the guard that
 * keeps C++ exceptions inside the map functions (shared by maps.cpp and
 * maps_index.cpp). */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

#define MAPS_TRY try {
#define MAPS_CATCH(failval)                                                                        \
    }                                                                                              \
    catch (...)                                                                                    \
    {                                                                                              \
        return failval;                                                                            \
    }

template<class E>
static inline E *
find_sorted(std::vector<E> &e, size_t nsorted, uint32_t id)
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

template<class E>
static inline size_t
lower_pos(std::vector<E> &e, size_t nsorted, uint32_t id)
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
