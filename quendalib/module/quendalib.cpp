/* Module initialisation (skeleton: the session, constants and controls land
 * with the module core). */
#define QUENDA_NUMPY_IMPORT
#include "module/npy.h"
#include "module/session.h"
#include "module/types.h"

#include "qnda.h"

qnda_py_env_t qnda_py_env;
PyObject *quenda_ModelError;
PyObject *quenda_InterfaceError;
PyObject *quenda_SolverError;
int quenda_env_busy;
int quenda_desc_busy;

static PyObject *
quendamod_getversion(PyObject *self, PyObject *args)
{
    char buf[QNDA_MAXVERSIONLENGTH] = {0};
    if (QNDAinit(NULL) || QNDAgetversion(buf)) {
        PyErr_SetString(PyExc_RuntimeError, "cannot read the library version");
        return NULL;
    }
    QNDAfree();
    return PyUnicode_FromString(buf);
}

static PyMethodDef quendamod_methods[] = {
    {"getversion", quendamod_getversion, METH_NOARGS, "Library version"},
    {NULL, NULL, 0, NULL}};

static struct PyModuleDef quendamod_def = {
    PyModuleDef_HEAD_INIT, "quendalib",
    "Create, solve, query and handle optimisation problems.", -1, quendamod_methods};

PyMODINIT_FUNC
PyInit_quendalib(void)
{
    PyTypeObject *types[] = {
        &quenda_varType, &quenda_SOSType, &quenda_expressionType, &quenda_constraintType,
        &quenda_ctrlType, &quenda_attrType, &quenda_problemType, &quenda_branchobjType,
        &quenda_poolcutType, &quenda_objattrType, &quenda_genericType,
        &quenda_lintermType, &quenda_quadtermType, &quenda_nonlinType};
    for (PyTypeObject *t : types) {
        t->tp_new = PyType_GenericNew;
        if (PyType_Ready(t) < 0)
            return NULL;
    }
    PyObject *m = PyModule_Create(&quendamod_def);
    if (m == NULL)
        return NULL;
    import_array1(NULL);
    import_umath1(NULL);
    return m;
}
