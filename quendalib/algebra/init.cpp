/* The one place that knows every type of the algebra: it fills the
 * operator table from their registration functions. */
#include "algebra/init.h"

#include "algebra/constraint.h"
#include "algebra/expression.h"
#include "algebra/linterm.h"
#include "algebra/maps.h"
#include "algebra/nonlinear.h"
#include "algebra/quadterm.h"
#include "algebra/var.h"

int
algebra_init(void)
{
    if (var_register() < 0 || linterm_register() < 0 || quadterm_register() < 0 ||
        expression_register() < 0 || nonlin_register() < 0 || constraint_register() < 0)
        return -1;
    return 0;
}

void
algebra_teardown(void)
{
    maps_pools_clear();
}
