/* NumPy's C API tables are imported once, in module/quendalib.cpp (which
 * defines QUENDA_NUMPY_IMPORT before including this); every other source file
 * shares them through these unique symbols. */
#pragma once

#include <Python.h>

#define PY_ARRAY_UNIQUE_SYMBOL QUENDA_OPT_ARRAY_API
#define PY_UFUNC_UNIQUE_SYMBOL QUENDA_OPT_UFUNC_API
#ifndef QUENDA_NUMPY_IMPORT
#define NO_IMPORT_ARRAY
#define NO_IMPORT_UFUNC
#endif
#ifndef NPY_NO_DEPRECATED_API
#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#endif
#include <numpy/arrayobject.h>
#include <numpy/ufuncobject.h>
