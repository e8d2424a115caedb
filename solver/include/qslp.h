/*
 * qslp.h -- the nonlinear interface of libqnda.
 *
 * A nonlinear problem (QSLPprob) always sits on a main problem (QNDAprob):
 * the linear and quadratic parts live in the main problem, the nonlinear
 * coefficients and formulas in the nonlinear one.  Conventions (return codes,
 * last errors, output strings) are those of qnda.h.
 */
#ifndef QSLP_H
#define QSLP_H

#include "qnda.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct qslp_problem_s *QSLPprob;

/* Information words of QSLPcontrolname */
#define QSLP_CAINFO_INT 1
#define QSLP_CAINFO_DOUBLE 2
#define QSLP_CAINFO_STRING 4
#define QSLP_CAINFO_CONTROL 16

/* Integer attributes */
#define QSLP_ORIGINALROWS 11999 /* rows of the main problem as loaded */
#define QSLP_ORIGINALCOLS 12000 /* columns of the main problem as loaded */
#define QSLP_NLPSTATUS 12013    /* one of the nlp_* statuses */
#define QSLP_ITER 12016         /* iterations of the last nonlinear solve */
#define QSLP_COEFFICIENTS 12026 /* nonlinear coefficients */
#define QSLP_USERFUNCS 12044    /* user functions registered */
#define QSLP_STOPSTATUS 12045
/* Double attributes */
#define QSLP_OBJVAL 12179
#define QSLP_SOLVETIME 12180
/* Pointer attributes */
#define QSLP_QNDAPROB 12601 /* the main problem behind a nonlinear one */

/* Double controls */
#define QSLP_OBJSENSE 12146 /* 1.0 minimise, -1.0 maximise */
#define QSLP_FEASTOL 12147
#define QSLP_OPTTOL 12148
#define QSLP_TIMELIMIT 12149
/* Integer controls */
#define QSLP_ITERLIMIT 12401
#define QSLP_LOGLEVEL 12402
#define QSLP_AUTOINIT \
  12415 /* 0: do not fill the nonlinear problem from the
                                     main one when it is created */
/* String controls */
#define QSLP_SOLVERNAME 12701 /* nonlinear engine; "ipopt" */

QNDA_API int QSLPinit(void);
QNDA_API int QSLPfree(void);
/* Creates a nonlinear problem on the existing main problem qprob. */
QNDA_API int QSLPcreateprob(QSLPprob *prob, QNDAprob *qprob);
QNDA_API int QSLPdestroyprob(QSLPprob prob);
/* dest is a created problem (on its own main problem) */
QNDA_API int QSLPcopyprob(QSLPprob dest, QSLPprob src, const char *name);
QNDA_API int QSLPcopycontrols(QSLPprob dest, QSLPprob src);
QNDA_API int QSLPgetlasterror(QSLPprob prob, int *code, char *msg, int maxbytes, int *nbytes);

/* The ids of every nonlinear control and attribute, ended by 0. */
QNDA_API int QSLPgetcalist(const int **ids);
/* Name (lower case, at most 128 characters + zero) and information word. */
QNDA_API int QSLPcontrolname(int id, char *name, int *info);

QNDA_API int QSLPsetintcontrol(QSLPprob prob, int id, int value);
QNDA_API int QSLPsetdblcontrol(QSLPprob prob, int id, double value);
QNDA_API int QSLPsetstrcontrol(QSLPprob prob, int id, const char *value);
QNDA_API int QSLPgetintcontrol(QSLPprob prob, int id, int *value);
QNDA_API int QSLPgetdblcontrol(QSLPprob prob, int id, double *value);
QNDA_API int QSLPgetstrcontrol(QSLPprob prob, int id, char *value, int maxbytes, int *nbytes);
QNDA_API int QSLPgetintattrib(QSLPprob prob, int id, int *value);
QNDA_API int QSLPgetdblattrib(QSLPprob prob, int id, double *value);
QNDA_API int QSLPgetptrattrib(QSLPprob prob, int id, void **value);

#ifdef __cplusplus
}
#endif

#endif /* QSLP_H */
