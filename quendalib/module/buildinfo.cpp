/* The package version and what the build contains: the solver library and
 * the engines linked into it, each with the version it reports itself. */
#include "module/session.h"

#include <string>

#include "qnda.h"

#ifndef QUENDA_PACKAGE_VERSION
#error "QUENDA_PACKAGE_VERSION comes from pyproject.toml through CMake"
#endif

const char *const quenda_package_version = QUENDA_PACKAGE_VERSION;

/* One line of QNDAgetbuildinfo split at its tabs. */
static std::string
field(const std::string &line, int k)
{
    size_t start = 0;
    for (int i = 0; i < k; ++i) {
        start = line.find('\t', start);
        if (start == std::string::npos)
            return "";
        ++start;
    }
    size_t end = line.find('\t', start);
    return line.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

/* {"name": {"version": v, "problems": (classes...)}} of the engine lines. */
static int
add_engine(PyObject *engines, const std::string &line)
{
    /* The classes arrive space-separated: "LP MIP QP". */
    std::string problems = field(line, 3);
    PyObject *tuple = PyTuple_New(0);
    for (size_t pos = 0; tuple != NULL && pos < problems.size();) {
        size_t end = problems.find(' ', pos);
        if (end == std::string::npos)
            end = problems.size();
        PyObject *name = PyUnicode_FromStringAndSize(problems.c_str() + pos, end - pos);
        PyObject *one = name ? PyTuple_Pack(1, name) : NULL;
        PyObject *longer = one ? PySequence_Concat(tuple, one) : NULL;
        Py_XDECREF(name);
        Py_XDECREF(one);
        Py_SETREF(tuple, longer);
        pos = end + 1;
    }
    /* "N" hands the tuple over to the entry, also when building it fails. */
    PyObject *entry =
        tuple ? Py_BuildValue("{s:s,s:N}", "version", field(line, 2).c_str(), "problems", tuple)
              : NULL;
    int rc = entry ? PyDict_SetItemString(engines, field(line, 1).c_str(), entry) : -1;
    Py_XDECREF(entry);
    return rc;
}

PyObject *
quendamod_getbuildinfo(PyObject *self, PyObject *noargs)
{
    PyObject *res = NULL, *engines = NULL;
    std::string text, library;
    int n = 0;

    if (turnQNDAon(0) != 0 || QNDAgetbuildinfo(NULL, 0, &n) != 0)
        goto done;
    text.assign((size_t)n, '\0');
    if (QNDAgetbuildinfo(&text[0], n, NULL) != 0)
        goto done;
    text.resize(text.find('\0'));
    if ((engines = PyDict_New()) == NULL)
        goto done;
    for (size_t pos = 0; pos < text.size();) {
        size_t eol = text.find('\n', pos);
        std::string line = text.substr(pos, eol - pos);
        pos = eol == std::string::npos ? text.size() : eol + 1;
        if (field(line, 0) == "library")
            library = field(line, 2);
        else if (field(line, 0) == "engine" && add_engine(engines, line) < 0)
            goto done;
    }
    res = Py_BuildValue("{s:s,s:s,s:O}", "version", quenda_package_version, "library",
                        library.c_str(), "engines", engines);
done:
    Py_XDECREF(engines);
    return quenda_result(NULL, res);
}
