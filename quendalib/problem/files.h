/* Reading and writing model files (problem/files.cpp). */
#pragma once

#include <Python.h>

/* read(filename, options=""), write(filename, options=""). */
extern PyMethodDef problem_files_methods[];
