/* The one conversion layer between Python arguments and the library's flat
 * arrays, used by every low-level problem method:
 *
 *   ObjInt2int          one object (int, var/constraint/SOS, name) -> int
 *   conv_obj2arr        a list, tuple, sequence or iterator -> new array
 *   conv_arr2obj        an array -> a caller's list, filled in place
 *   convSeqToRowCol     a combined row/column index -> its object
 *   addColsAsVariables  var objects for columns made by a low-level call
 *
 * Arrays come from the library's allocator; the caller frees them with
 * conv_free (harmless on NULL) on every exit path. */
#pragma once

#include <Python.h>

#include "qnda.h"

/* Element kinds. */
enum {
    CONV_ROW = 0,     /* int32 row index: int, constraint, row name */
    CONV_COL = 1,     /* int32 column index: int, var, column name */
    CONV_SET = 2,     /* SOS index (scalars only): int, SOS, name */
    CONV_INT = 3,     /* int32 */
    CONV_INT64 = 4,   /* int64 */
    CONV_DOUBLE = 5,  /* double */
    CONV_CHAR = 6,    /* char: first character of a str */
    CONV_CHARNUM = 7, /* char holding a small number; out: its decimal str */
    CONV_STRING = 8,  /* char *, each a separately allocated copy */
    CONV_CUT = 9,     /* cut handle of a poolcut */
    CONV_OBJECT = 10, /* handle of a qndaobject */
    CONV_ROWCOL = 11  /* combined row/column index (scalars only as input) */
};

/* 1 when obj is an int (bool included) or a NumPy intc, int_ or longlong
 * scalar.  No exception. */
int conv_is_integer(PyObject *obj);

/* Resolves obj to one integer for kinds CONV_ROW, CONV_COL, CONV_SET,
 * CONV_INT and CONV_ROWCOL.  0, or -1 with an exception set. */
int ObjInt2int(PyObject *obj, PyObject *prob, int *out, int kind);

/* Converts obj (NULL or None: nothing, *out NULL, 0) to a new array of the
 * kind in *out.  count (may be NULL) is in/out: a value >= 0 is the length
 * required, -1 is set to the length found.  0, or -1 with an exception set
 * and *out NULL. */
int conv_obj2arr(PyObject *prob, QNDAint64 *count, PyObject *obj, void **out, int kind);

/* Writes count elements of arr into the list *target (NULL or None target,
 * or NULL arr: nothing), truncating or extending the list.  0, or -1 with
 * an exception set. */
int conv_arr2obj(PyObject *prob, QNDAint64 count, const void *arr, PyObject **target, int kind);

/* Frees an array made by conv_obj2arr and sets *arr to NULL; for
 * CONV_STRING also the count strings it holds. */
void conv_free(void **arr, QNDAint64 count, int kind);

/* The constraint of row index, or the var of column index - rows - spare
 * rows.  New reference, or NULL with an exception set. */
PyObject *convSeqToRowCol(PyObject *prob, int index);

/* The default names ("C<id>", "R<id>") of the problem's columns (rows
 * when rows != 0) first.. to the end of its list, packed one after the
 * other with their zeros, in a buffer from the library's allocator
 * (qarr_free); *count gets how many.  NULL with MemoryError, or with
 * *count 0 when there is none. */
char *conv_default_names(PyObject *prob, int rows, int first, int *count);

/* Creates a var for each of the n new columns firstCol.. and enters it in
 * the problem's variable list and map.  names/types: lists or NULL; the
 * entity arrays (nEntities long, may be NULL) give types and thresholds by
 * position among the new columns.  0, or -1 with an exception set. */
int addColsAsVariables(PyObject *prob, PyObject *names, PyObject *types, int nEntities,
                       const int *entityCols, const char *entityTypes, const double *entityLimits,
                       int firstCol, int n);

/* A constraint with no body whose bounds are those of a row of type
 * rowtype ('L', 'G', 'E', 'R', 'N') with that rhs and range; name NULL
 * gives "R<identity>".  New reference, or NULL with an exception set. */
PyObject *conv_new_constraint(PyObject *name, char rowtype, double rhs, double range);

/* Creates a constraint for each of the n new rows firstRow.. (names: a
 * list of n names or NULL; the row arrays may be NULL) and enters it in
 * the problem's constraint list and map.  0, or -1 with an exception set;
 * the objects entered before a failure stay. */
int addRowsAsConstraints(PyObject *prob, PyObject *names, const char *rowtype, const double *rhs,
                         const double *range, int firstRow, int n);

/* Problem methods of this layer (getIndexFromName), NULL-terminated. */
extern PyMethodDef problem_conv_methods[];
