/* NumPy comparisons of arrays of modelling objects build constraints.
 * Installed at import after NumPy's C API is imported; undone at teardown. */
#pragma once

/* 0 on success, -1 with a Python exception set. */
int quenda_numpy_compare_install(void);
/* Puts back what can be put back; never fails. */
void quenda_numpy_compare_restore(void);
