/* Module initialisation and teardown.
 *
 * PyInit_quendalib readies the fourteen types, creates the session record's
 * objects, fills the control and attribute descriptions from the libraries
 * (which starts and frees them again: the session stays closed until
 * something needs it), imports NumPy's C API, creates the exceptions,
 * publishes types, exceptions and constants, and hooks the comparisons that
 * build constraints into NumPy.  Teardown undoes the NumPy hook and ends
 * the session. */
#define QUENDA_NUMPY_IMPORT
#include "module/npy.h"
#include "module/session.h"
#include "module/types.h"

#include "algebra/aggregates.h"
#include "algebra/functions.h"
#include "algebra/init.h"
#include "algebra/npcompare.h"
#include "api/api.h"
#include "callbacks/callbacks.h"
#include "nonlinear/convert.h"
#include "problem/problem.h"

#include "qnda.h"

#define KW (METH_VARARGS | METH_KEYWORDS)
#define KWFUNC(f) ((PyCFunction)(void (*)(void))(f))

static PyMethodDef quendamod_methods[] =
    {{"Sum", quendamod_Sum, METH_VARARGS, "Sum of any number of terms"},
     {"Prod", quendamod_Prod, METH_VARARGS, "Product of a sequence of expressions"},
     {"Dot", KWFUNC(quendamod_Dot), KW, "Dot product of NumPy arrays of expressions"},
     {"sin", quendamod_sin, METH_O, "Sine of an expression"},
     {"cos", quendamod_cos, METH_O, "Cosine of an expression"},
     {"tan", quendamod_tan, METH_O, "Tangent of an expression"},
     {"asin", quendamod_asin, METH_O, "Arc sine of an expression"},
     {"acos", quendamod_acos, METH_O, "Arc cosine of an expression"},
     {"atan", quendamod_atan, METH_O, "Arc tangent of an expression"},
     {"exp", quendamod_exp, METH_O, "Exponential of an expression"},
     {"log", quendamod_log, METH_O, "Natural logarithm of an expression"},
     {"log10", quendamod_log10, METH_O, "Base-10 logarithm of an expression"},
     {"abs", quendamod_abs, METH_O, "Absolute value of an expression"},
     {"sqrt", quendamod_sqrt, METH_O, "Square root of an expression"},
     {"sign", quendamod_sign, METH_O, "Sign of an expression"},
     {"erf", quendamod_erf, METH_O, "Error function of an expression"},
     {"erfc", quendamod_erfc, METH_O, "Complementary error function of an expression"},
     {"max", KWFUNC(quendamod_max), KW, "Maximum of expressions"},
     {"min", KWFUNC(quendamod_min), KW, "Minimum of expressions"},
     {"user", KWFUNC(quendamod_user), KW, "Expression computed by a user function"},
     {"getlasterror", quendamod_getlasterror, METH_NOARGS,
      "Last error of the library environment: (code, message)"},
     {"getversion", quendamod_getversion, METH_NOARGS,
      "getversion() -> str: version of the solver library, e.g. '34.01.00'"},
     {"getbuildinfo", quendamod_getbuildinfo, METH_NOARGS,
      "getbuildinfo() -> dict: the package version, the solver library's version and the "
      "engines in this build, as {'version': str, 'library': str, 'engines': {name: "
      "{'version': str, 'problems': tuple}}}"},
     {"getcheckedmode", quendamod_getcheckedmode, METH_NOARGS,
      "Whether the library checks the arguments of its calls"},
     {"setcheckedmode", KWFUNC(quendamod_setcheckedmode), KW,
      "setcheckedmode(checked_mode): checking is on only for checked_mode=True"},
     {"setdefaultcontrol", KWFUNC(quendamod_setdefaultcontrol), KW,
      "setdefaultcontrol(name, value) or setdefaultcontrol({name: value}): default for new "
      "problems"},
     {"setdefaults", quendamod_setdefaults, METH_NOARGS,
      "Drop every default set with setdefaultcontrol"},
     {"addcbmsghandler", KWFUNC(quendamod_addcbmsghandler), KW,
      "addcbmsghandler(msghandler, data, priority): receive every library message"},
     {"removecbmsghandler", KWFUNC(quendamod_removecbmsghandler), KW,
      "removecbmsghandler(msghandler, data): stop receiving messages (None matches any)"},
     {"getbanner", KWFUNC(quendamod_getbanner), KW, "Library banner"},
     {"init", quendamod_init, METH_NOARGS, "Start (or restart) the library session"},
     {"free", quendamod_free, METH_NOARGS, "End the library session"},
     {"vars", KWFUNC(quendamod_vars), KW, "Create an indexed collection of variables"},
     {"_unpickle", problem_unpickle, METH_VARARGS,
      "_unpickle(kind, args): rebuild a pickled problem or modelling object"},
     {"_sigint_roundtrip", quendamod__sigint_roundtrip, METH_NOARGS,
      "Test hook: hand SIGINT to the library and back"},
     {NULL, NULL, 0, NULL}};

static void quendamod_freeModule(void *module);

static struct PyModuleDef quendamod_def = {
    PyModuleDef_HEAD_INIT,
    "quendalib",
    "Create, solve, query and handle optimization problems.",
    -1,
    quendamod_methods,
    NULL,
    NULL,
    NULL,
    quendamod_freeModule,
};

static int quenda_numpy_hooked;

/* PyModule_AddObject that does not steal: 0 or -1. */
static int
quendamod_add(PyObject *m, const char *name, PyObject *obj)
{
    Py_INCREF(obj);
    if (PyModule_AddObject(m, name, obj) < 0) {
        Py_DECREF(obj);
        return -1;
    }
    return 0;
}

static void
quendamod_release_env(void)
{
    Py_CLEAR(qnda_py_env.ctrl);
    Py_CLEAR(qnda_py_env.ctrl_desc);
    Py_CLEAR(qnda_py_env.attr_desc);
    Py_CLEAR(qnda_py_env.ctrl_defaults);
    Py_CLEAR(qnda_py_env.msghandlers);
}

PyMODINIT_FUNC
PyInit_quendalib(void)
{
    PyTypeObject *types[] = {&quenda_varType,        &quenda_SOSType,       &quenda_expressionType,
                             &quenda_constraintType, &quenda_ctrlType,      &quenda_attrType,
                             &quenda_problemType,    &quenda_branchobjType, &quenda_poolcutType,
                             &quenda_objattrType,    &quenda_genericType,   &quenda_lintermType,
                             &quenda_quadtermType,   &quenda_nonlinType};
    PyObject *m = NULL;
    int published = 0; /* past the exceptions: teardown of the session too */

    /* The layers fill in what the lower ones reach through hooks and
     * tables, lowest first. */
    if (problem_layer_init() < 0 || api_init() < 0 || callbacks_init() < 0 || nonlinear_init() < 0)
        goto error;
    for (PyTypeObject *t : types)
        t->tp_new = PyType_GenericNew;
    if (problem_type_prepare() < 0)
        goto error;
    if (algebra_init() < 0)
        goto error;
    for (PyTypeObject *t : types) {
        if (PyType_Ready(t) < 0)
            goto error;
    }
    if (problem_pickle_init() < 0) /* keys the readied types */
        goto error;

    m = PyModule_Create2(&quendamod_def, PYTHON_API_VERSION);
    if (m == NULL)
        goto error;

    /* The exceptions come first: filling the control tables may raise one. */
    Py_CLEAR(quenda_ModelError);
    Py_CLEAR(quenda_InterfaceError);
    Py_CLEAR(quenda_SolverError);
    quenda_ModelError = PyErr_NewException("quenda.ModelError", NULL, NULL);
    quenda_InterfaceError = PyErr_NewException("quenda.InterfaceError", NULL, NULL);
    quenda_SolverError = PyErr_NewException("quenda.SolverError", NULL, NULL);
    if (quenda_ModelError == NULL || quenda_InterfaceError == NULL || quenda_SolverError == NULL)
        goto error;

    quendamod_release_env();
    qnda_py_env.ctrl = ctrl_base(NULL);
    qnda_py_env.ctrl_desc = PyDict_New();
    qnda_py_env.attr_desc = PyDict_New();
    qnda_py_env.ctrl_defaults = PyDict_New();
    qnda_py_env.msghandlers = PyList_New(0);
    if (qnda_py_env.ctrl == NULL || qnda_py_env.ctrl_desc == NULL ||
        qnda_py_env.attr_desc == NULL || qnda_py_env.ctrl_defaults == NULL ||
        qnda_py_env.msghandlers == NULL)
        goto error;
    qnda_py_env.initialized = 0;
    qnda_py_env.slp_state = -1;

    if (ctrl_attr_fill_typeobj(0) != 0)
        goto error;

    if (_import_array() < 0 || _import_umath() < 0)
        goto error; /* NumPy's own ImportError */

    published = 1;

    if (quendamod_add(m, "var", (PyObject *)&quenda_varType) < 0 ||
        quendamod_add(m, "sos", (PyObject *)&quenda_SOSType) < 0 ||
        quendamod_add(m, "constraint", (PyObject *)&quenda_constraintType) < 0 ||
        quendamod_add(m, "problem", (PyObject *)&quenda_problemType) < 0 ||
        quendamod_add(m, "branchobj", (PyObject *)&quenda_branchobjType) < 0 ||
        quendamod_add(m, "poolcut", (PyObject *)&quenda_poolcutType) < 0 ||
        quendamod_add(m, "ModelError", quenda_ModelError) < 0 ||
        quendamod_add(m, "InterfaceError", quenda_InterfaceError) < 0 ||
        quendamod_add(m, "SolverError", quenda_SolverError) < 0)
        goto error;

    if (quenda_numpy_compare_install() < 0)
        goto error;
    quenda_numpy_hooked = 1;

    if (quenda_add_constants(m) < 0)
        goto error;
    if (quendamod_add(m, "controls", qnda_py_env.ctrl) < 0)
        goto error;
    if (PyModule_AddStringConstant(m, "__version__", quenda_package_version) < 0)
        goto error;
    return m;

error: {
    PyObject *et, *ev, *tb;
    if (!PyErr_Occurred())
        PyErr_SetString(PyExc_RuntimeError, "Error initializing the Quenda module");
    PyErr_Fetch(&et, &ev, &tb);
    if (quenda_numpy_hooked) {
        quenda_numpy_compare_restore();
        quenda_numpy_hooked = 0;
    }
    if (published && turnQNDAoff(0) != 0)
        PyErr_Clear();
    quendamod_release_env();
    Py_XDECREF(m);
    PyErr_Restore(et, ev, tb);
}
    return NULL;
}

static void
quendamod_freeModule(void *module)
{
    PyObject *et, *ev, *tb;

    PyErr_Fetch(&et, &ev, &tb);
    quenda_msghandlers_clear();
    quendamod_release_env();
    algebra_teardown();
    if (quenda_numpy_hooked) {
        quenda_numpy_compare_restore();
        quenda_numpy_hooked = 0;
    }
    if (turnQNDAoff(0) != 0)
        PyErr_Clear();
    PyErr_Restore(et, ev, tb);
}
