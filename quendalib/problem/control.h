/* Controls and attributes: the quenda.control type, the description
 * dictionaries filled from the libraries' lists, and the problem methods
 * setControl, getControl and getAttrib.
 *
 * A description is a tuple (solver id, value type, library) with value type
 * 1 integer, 2 double, 3 string, 4 64-bit integer, and library 0 for the
 * main library, 1 for the nonlinear one. */
#pragma once

#include <Python.h>

#define CTRL_TYPE_INT 1
#define CTRL_TYPE_DOUBLE 2
#define CTRL_TYPE_STRING 3
#define CTRL_TYPE_INT64 4

/* quenda.control: controls of a problem, or the module's defaults. */
typedef struct {
    PyObject_HEAD
    PyObject *probref; /* owned weak reference to the problem; NULL for the
                          module-level object */
    PyObject *dict;    /* owned dict; the module-level object keeps the
                          library's default value of every control here */
} ctrl_s;

/* Reads both libraries' lists into the session's description dicts and the
 * module controls' defaults.  session_open says whether called from an open
 * session; the libraries are started and freed around the fill either way
 * (they count their initialisations).  0, or -1 with an exception set. */
int ctrl_attr_fill_typeobj(int session_open);

/* New references, or NULL with an exception set.  prob NULL makes the
 * module-level object. */
PyObject *ctrl_base(PyObject *prob);
PyObject *ctrl_copy(PyObject *ctrl, PyObject *prob);

/* Value of a control (is_attr 0) or attribute (1) by name for a control or
 * attribute object.  New reference, or NULL with an exception set. */
PyObject *ctrl_attr_get(PyObject *self, PyObject *name, int is_attr);
/* tp_getattro of the control and attribute types: dunder names the usual
 * way, any other name as ctrl_attr_get. */
PyObject *ctrl_attr_getattro(PyObject *self, PyObject *name, int is_attr);
/* tp_str of both: str of the dict of every name and its value. */
PyObject *ctrl_attr_str(PyObject *self, int is_attr);
/* Dict of every name and its current value.  New reference. */
PyObject *getAllCtrlAttr(PyObject *self, int is_attr);

/* Lower-cased copy of a control name; ModelError "Incorrect control name"
 * when name is not a str.  New reference. */
PyObject *ctrl_lower_name(PyObject *name);
/* 0 when value suits a control of the given type, else -1 with ModelError. */
int check_setCtrl(int type, PyObject *value);
/* Looks name up in the control descriptions and checks value against it;
 * stores the borrowed description in *desc when desc is not NULL.  0 or -1. */
int ctrl_check_named(PyObject *name, PyObject *value, PyObject **desc);
/* The (dict) or (name, value) argument forms of setControl as a new dict;
 * fname names the function in the messages. */
PyObject *ctrl_args_to_dict(PyObject *args, const char *fname);

/* Sets one checked control on a problem; 0, or -1 with an exception set. */
int problem_setControl_single(PyObject *prob, long id, int type, int slp, PyObject *value);
/* Applies the module's user default controls to a new problem; 0 or -1. */
int problem_apply_user_defaults(PyObject *prob);

/* Module functions setdefaultcontrol and setdefaults.  New reference, or
 * NULL with an exception set. */
PyObject *quendamod_setdefaultcontrol(PyObject *self, PyObject *args, PyObject *kwargs);
PyObject *quendamod_setdefaults(PyObject *self, PyObject *noargs);

/* Problem methods (METH_VARARGS). */
PyObject *problem_setControl(PyObject *self, PyObject *args);
PyObject *problem_getControl(PyObject *self, PyObject *args);
PyObject *problem_getAttrib(PyObject *self, PyObject *args);
