/* Initialisation of the algebra: every type registers its cells of the
 * operator table and its constructor hooks (see algebra.h). */
#pragma once

/* Called once by the module's initialisation, before any operation.
 * 0, or -1 with an exception set. */
int algebra_init(void);
/* Called by the module's teardown: frees the maps' pools. */
void algebra_teardown(void);
