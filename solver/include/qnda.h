/*
 * qnda.h -- the C interface of libqnda, the quendalib solver library.
 *
 * Conventions that hold for every function below:
 *
 *  - Every function returns an int: 0 on success, a non-zero error code on
 *    failure.  On failure the code and an English message are recorded on the
 *    problem the call worked on (QNDAgetlasterror) or, for calls without a
 *    problem, on the global environment (QNDA_ge_getlasterror).
 *  - Indices are 0-based ints.  Counts and offsets of matrices and sets that
 *    may exceed 2^31 are QNDAint64 in the "...64" functions.
 *  - A value of magnitude >= QNDA_INFINITY (1e20) is infinite.
 *  - Row types:    'L' (<=), 'G' (>=), 'E' (=), 'R' (range: rhs - range <= a'x
 *                  <= rhs), 'N' (free, not a constraint).
 *  - Column types: 'C' continuous, 'I' integer, 'B' binary, 'S' semi-
 *                  continuous, 'R' semi-integer, 'P' partially integer.  The
 *                  last three carry a threshold ("limit"): below it a semi-
 *                  continuous or semi-integer column is 0 or in [limit, ub];
 *                  a partially integer column is integer below the limit and
 *                  continuous above it.
 *  - Set types:    '1' (SOS1) and '2' (SOS2).
 *  - Quadratic coefficients are monomial coefficients everywhere, in the
 *    objective as in rows: the triplet (i, j, v) stands for v * x_i * x_j,
 *    and (i, i, v) for v * x_i^2.  (i, j) and (j, i) name the same monomial;
 *    "add" and "load" functions sum duplicates, "chg" functions replace.
 *  - Output strings: functions taking (char *buf, int maxbytes, int *nbytes)
 *    write at most maxbytes bytes including the terminating zero and store
 *    the full length needed (including the zero) in *nbytes when nbytes is
 *    not NULL; buf may be NULL to ask for the length only.
 *  - Name lists are packed: each name ends with a zero byte.
 *  - In checked mode (the default) every argument is validated (handles,
 *    indices in range, arrays present, letters known) and a bad one is
 *    reported as an error instead of being undefined behaviour.  With checked
 *    mode off, null or invalid handles, null arrays that a count says are
 *    needed, negative counts and indices out of range are still refused (an
 *    index addresses the library's memory); the letters, starts and values of
 *    the input are trusted.
 *  - Rows, columns and sets without a name answer the names "R<i>", "C<i>"
 *    and "S<i>" (i the 0-based index), and QNDAgetindex finds them by those.
 */
#ifndef QNDA_H
#define QNDA_H

#include <stddef.h>

#if defined(_WIN32)
#define QNDA_API __declspec(dllexport)
#else
#define QNDA_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef long long QNDAint64;
typedef struct qnda_problem_s *QNDAprob;

#define QNDA_VERSION_MAJOR 34
#define QNDA_VERSION_MINOR 1
#define QNDA_VERSION_BUILD 0

#define QNDA_INFINITY 1.0e20
#define QNDA_MAXMESSAGELENGTH 512 /* last-error texts, including the zero */
#define QNDA_MAXBANNERLENGTH 1024
#define QNDA_MAXVERSIONLENGTH 32
#define QNDA_MAXNAMELENGTH 1024 /* longest row, column, set or problem name */

/* ------------------------------------------------------------------------
 * Error codes (returned by every function, kept as the last error)
 * ---------------------------------------------------------------------- */
#define QNDA_OK 0
#define QNDA_ERR_NOTINIT 1     /* library not initialised */
#define QNDA_ERR_ARGUMENT 2    /* bad argument (null array, bad letter ...) */
#define QNDA_ERR_INDEX 3       /* index out of range */
#define QNDA_ERR_NOMEMORY 4    /* out of memory */
#define QNDA_ERR_UNKNOWNID 5   /* unknown control or attribute id / name */
#define QNDA_ERR_TYPE 6        /* control or attribute of another type */
#define QNDA_ERR_VALUE 7       /* control value out of its bounds */
#define QNDA_ERR_FILE 8        /* file cannot be read or written */
#define QNDA_ERR_UNSUPPORTED 9 /* model feature the engines cannot solve */
#define QNDA_ERR_STATE 10      /* no solution / basis / data available yet */
#define QNDA_ERR_ENGINE 11     /* the engine failed */
#define QNDA_ERR_INTERNAL 12   /* unexpected internal failure */

/* Reliability: a problem whose engine runs is busy.  Until the solve returns,
 * every call that changes the problem (its model, controls, handlers, name,
 * or a second solve) fails with QNDA_ERR_BUSY, from any thread, message
 * handlers of the solve included; queries of the model, controls,
 * attributes and results, writing files and QNDAinterrupt still work. */
#define QNDA_ERR_BUSY 13 /* the problem is being optimised */

/* ------------------------------------------------------------------------
 * Value types of controls and attributes (QNDAgetcontrolinfo ...)
 * ---------------------------------------------------------------------- */
#define QNDA_TYPE_NOTDEFINED 0
#define QNDA_TYPE_INT 1
#define QNDA_TYPE_INT64 2
#define QNDA_TYPE_DOUBLE 3
#define QNDA_TYPE_STRING 4

/* Flag words of QNDAgetcalist_c entries. */
#define QNDA_CAFLAG_INT 1
#define QNDA_CAFLAG_DOUBLE 2
#define QNDA_CAFLAG_STRING 4
#define QNDA_CAFLAG_INT64 8 /* set together with QNDA_CAFLAG_INT */
#define QNDA_CAFLAG_CONTROL 32

/* ------------------------------------------------------------------------
 * Statuses and stop reasons
 * ---------------------------------------------------------------------- */
#define QNDA_LP_UNSTARTED 0
#define QNDA_LP_OPTIMAL 1
#define QNDA_LP_INFEAS 2
#define QNDA_LP_CUTOFF 3
#define QNDA_LP_UNFINISHED 4
#define QNDA_LP_UNBOUNDED 5
#define QNDA_LP_CUTOFF_IN_DUAL 6
#define QNDA_LP_UNSOLVED 7
#define QNDA_LP_NONCONVEX 8

#define QNDA_MIP_NOT_LOADED 0
#define QNDA_MIP_LP_NOT_OPTIMAL 1
#define QNDA_MIP_LP_OPTIMAL 2
#define QNDA_MIP_NO_SOL_FOUND 3
#define QNDA_MIP_SOLUTION 4
#define QNDA_MIP_INFEAS 5
#define QNDA_MIP_OPTIMAL 6
#define QNDA_MIP_UNBOUNDED 7

#define QNDA_STOP_NONE 0
#define QNDA_STOP_TIMELIMIT 1
#define QNDA_STOP_CTRLC 2
#define QNDA_STOP_NODELIMIT 3
#define QNDA_STOP_ITERLIMIT 4
#define QNDA_STOP_MIPGAP 5
#define QNDA_STOP_SOLLIMIT 6
#define QNDA_STOP_USER 9

/* Basis statuses */
#define QNDA_AT_LOWER 0
#define QNDA_BASIC 1
#define QNDA_AT_UPPER 2
#define QNDA_FREE_SUPER 3

/* ------------------------------------------------------------------------
 * Integer attributes (the ids the module relies on are fixed)
 * ---------------------------------------------------------------------- */
#define QNDA_ROWS 1001 /* rows of the problem (presolved while in a solve) */
#define QNDA_SETS 1004 /* special ordered sets */
#define QNDA_LPSTATUS 1010
#define QNDA_MIPSTATUS 1011
#define QNDA_COLS 1018
#define QNDA_SPAREROWS 1019
#define QNDA_NAMELENGTH 1028 /* longest name, in units of 8 characters */
#define QNDA_MIPENTS 1032    /* discrete entities (non-continuous columns) */
#define QNDA_ORIGINALROWS 1124
#define QNDA_PROBNAMELENGTH 1158 /* bytes of the problem name, with its terminating zero */
#define QNDA_ORIGINALSETS 1194
#define QNDA_ORIGINALCOLS 1214
#define QNDA_ELEMS 1030        /* matrix nonzeros */
#define QNDA_QELEMS 1031       /* quadratic objective elements */
#define QNDA_QCONSTRAINTS 1033 /* rows with quadratic terms */
#define QNDA_QCELEMS 1034      /* quadratic row elements */
#define QNDA_SETMEMBERS 1035
#define QNDA_INDICATORS 1036
#define QNDA_STOPSTATUS 1040 /* one of QNDA_STOP_* */
#define QNDA_SOLSTATUS 1041  /* 1 when a solution is available */
#define QNDA_SIMPLEXITER 1042
#define QNDA_BARITER 1043
#define QNDA_NODES 1044
#define QNDA_MIPSOLS 1045
#define QNDA_OBJSENSE_ATTR 1046 /* 1 minimise, -1 maximise */
#define QNDA_ERRORCODE 1047     /* code of the last error on the problem */
#define QNDA_ORIGINALQELEMS 1048
#define QNDA_ORIGINALQCELEMS 1049
#define QNDA_PRESOLVESTATE 1050  /* 1 when the loaded problem was changed since the last solve */
#define QNDA_ALGORITHM_ATTR 1051 /* algorithm used by the last LP solve */
#define QNDA_LOCALSOLUTION 1052  /* 1 when the solution is only known to be locally optimal */

/* Double attributes */
#define QNDA_LPOBJVAL 2001
#define QNDA_BESTBOUND 2002
#define QNDA_MIPOBJVAL 2003
#define QNDA_OBJVAL 2004 /* objective of the current solution, LP or MIP */
#define QNDA_MIPRELGAP 2005
#define QNDA_SOLVETIME 2006 /* seconds of the last optimisation */
#define QNDA_MAXPRIMALINFEAS 2007
#define QNDA_MAXDUALINFEAS 2008
#define QNDA_OBJCONSTANT 2009

/* ------------------------------------------------------------------------
 * Integer controls
 * ---------------------------------------------------------------------- */
#define QNDA_LOGLEVEL 8001    /* 0 silent, 1 summary, 2 engine log, 3 verbose */
#define QNDA_THREADS 8002     /* 0: engine's choice */
#define QNDA_PRESOLVE 8003    /* 0 off, 1 on */
#define QNDA_LPALGORITHM 8004 /* 1 engine's choice, 2 dual simplex, 3 primal simplex, 4 barrier */
#define QNDA_LPITERLIMIT 8005
#define QNDA_RANDOMSEED 8006
#define QNDA_MAXMIPSOL 8007 /* stop after this many MIP solutions (0: no limit) */
#define QNDA_SCALING 8008
#define QNDA_OUTPUTLOG 8009 /* echo the log to standard output */
#define QNDA_BARITERLIMIT 8010
#define QNDA_CROSSOVER 8011
#define QNDA_KEEPNROWS \
  8035                   /* 1 (default) keeps free ('N') rows passed to the
                                     load functions; 0 drops them while loading (the
                                     rows after them close up).  Rows added later and
                                     the objective row of a read file are unaffected. */
#define QNDA_MAXIIS 8060 /* most subsystems QNDAiisall finds (0: no limit) */
/* 64-bit integer controls */
#define QNDA_MAXNODE 8101

/* Double controls */
#define QNDA_TIMELIMIT 7001     /* seconds; <= 0 or >= 1e20 means none */
#define QNDA_MIPRELSTOP 7002    /* relative MIP gap */
#define QNDA_MIPABSSTOP 7003    /* absolute MIP gap */
#define QNDA_FEASTOL 7004       /* primal feasibility tolerance */
#define QNDA_OPTIMALITYTOL 7005 /* dual feasibility (optimality) tolerance */
#define QNDA_MIPTOL 7006        /* integrality tolerance */
#define QNDA_MIPCUTOFF 7007     /* objective cutoff */
#define QNDA_BARGAPSTOP 7008    /* barrier relative gap */
#define QNDA_INFINITYCTRL 7009  /* bound magnitude treated as infinite */
#define QNDA_TUNERMAXTIME 7060  /* seconds the tuner may take */

/* String controls */
#define QNDA_LOGFILE 6001
#define QNDA_SOLVERNAME 6002 /* LP/MIP/QP engine; "highs" */

/* ------------------------------------------------------------------------
 * Environment
 * ---------------------------------------------------------------------- */
/* Initialisations are counted: every QNDAinit needs its QNDAfree. */
QNDA_API int QNDAinit(const char *path);
QNDA_API int QNDAfree(void);
QNDA_API int QNDAgetbanner(char *banner);   /* QNDA_MAXBANNERLENGTH bytes */
QNDA_API int QNDAgetversion(char *version); /* "34.01.00"; QNDA_MAXVERSIONLENGTH */
QNDA_API int QNDAgetversionnumbers(int *major, int *minor, int *build);
QNDA_API int QNDA_ge_getlasterror(int *msgcode, char *msg, int maxbytes, int *nbytes);
QNDA_API int QNDAsetcheckedmode(int checked);
QNDA_API int QNDAgetcheckedmode(int *checked);
/* 1 lets the library send messages to handlers and standard output */
QNDA_API int QNDAenablemessages(int enable);

/* Message handlers.  msgtype: 1 information, 2 (unused), 3 warning, 4 error;
 * msg is NULL with msgtype < 0 to say "flush".  prob is NULL for messages of
 * the environment.  Handlers with a higher priority run first. */
typedef void (*QNDAmsghandler)(QNDAprob prob, void *data, const char *msg, int len, int msgtype);
QNDA_API int QNDA_ge_addcbmsghandler(QNDAmsghandler handler, void *data, int priority);
/* NULL handler removes every handler; NULL data removes every data of handler */
QNDA_API int QNDA_ge_removecbmsghandler(QNDAmsghandler handler, void *data);

/* The library's allocator, used by callers for temporary arrays. */
QNDA_API extern void *qo_MemoryAllocator_DefaultHeap;
QNDA_API int qo_MemoryAllocator_Alloc_Untyped(void *heap, size_t size, void **p);
/* *p may be NULL; on failure *p is left untouched */
QNDA_API int qo_MemoryAllocator_Realloc_Untyped(void *heap, void **p, size_t size);
/* frees *p and sets it to NULL; *p NULL is harmless */
QNDA_API int qo_MemoryAllocator_Free_Untyped(void *heap, void **p);

/* ------------------------------------------------------------------------
 * Problems
 * ---------------------------------------------------------------------- */
QNDA_API int QNDAcreateprob(QNDAprob *prob);
QNDA_API int QNDAdestroyprob(QNDAprob prob);
/* dest is a created problem; its model and controls become copies of src's */
QNDA_API int QNDAcopyprob(QNDAprob dest, QNDAprob src, const char *name);
QNDA_API int QNDAcopycontrols(QNDAprob dest, QNDAprob src);
QNDA_API int QNDAsetprobname(QNDAprob prob, const char *name);
QNDA_API int QNDAgetprobname(QNDAprob prob, char *name, int maxbytes, int *nbytes);
QNDA_API int QNDAgetlasterror(QNDAprob prob, int *msgcode, char *msg, int maxbytes, int *nbytes);
/* Messages of one problem (in addition to the environment's handlers). */
QNDA_API int QNDAaddcbmessage(QNDAprob prob, QNDAmsghandler handler, void *data, int priority);
QNDA_API int QNDAremovecbmessage(QNDAprob prob, QNDAmsghandler handler, void *data);
/* Stops a running optimisation with the reason (a QNDA_STOP_* code); safe to
 * call from any thread, and before a solve starts (it then stops at once). */
QNDA_API int QNDAinterrupt(QNDAprob prob, int reason);

/* ------------------------------------------------------------------------
 * Controls and attributes
 * ---------------------------------------------------------------------- */
/* The one table of controls and attributes: parallel arrays owned by the
 * library, ended by an entry whose name is "" (and id 0). */
QNDA_API int QNDAgetcalist_c(const char *const **names, const int **ids, const int **flags);
/* type is one of QNDA_TYPE_*; unknown names give id 0, type NOTDEFINED */
QNDA_API int QNDAgetcontrolinfo(QNDAprob prob, const char *name, int *id, int *type);
QNDA_API int QNDAgetattribinfo(QNDAprob prob, const char *name, int *id, int *type);
/* Description text of a control or attribute by id. */
QNDA_API int QNDAgetcadescription(int id, char *buf, int maxbytes, int *nbytes);

QNDA_API int QNDAsetintcontrol(QNDAprob prob, int id, int value);
QNDA_API int QNDAsetintcontrol64(QNDAprob prob, int id, QNDAint64 value);
QNDA_API int QNDAsetdblcontrol(QNDAprob prob, int id, double value);
QNDA_API int QNDAsetstrcontrol(QNDAprob prob, int id, const char *value);
QNDA_API int QNDAgetintcontrol(QNDAprob prob, int id, int *value);
QNDA_API int QNDAgetintcontrol64(QNDAprob prob, int id, QNDAint64 *value);
QNDA_API int QNDAgetdblcontrol(QNDAprob prob, int id, double *value);
QNDA_API int QNDAgetstrcontrol(QNDAprob prob, int id, char *value, int maxbytes, int *nbytes);
/* Restores every control of the problem to its default. */
QNDA_API int QNDAsetdefaults(QNDAprob prob);

QNDA_API int QNDAgetintattrib(QNDAprob prob, int id, int *value);
QNDA_API int QNDAgetintattrib64(QNDAprob prob, int id, QNDAint64 *value);
QNDA_API int QNDAgetdblattrib(QNDAprob prob, int id, double *value);
QNDA_API int QNDAgetstrattrib(QNDAprob prob, int id, char *value, int maxbytes, int *nbytes);

/* ------------------------------------------------------------------------
 * Loading a whole problem (replaces the current one)
 *
 * The matrix is column-major: column j's entries are
 * rowind/rowcoef[start[j] .. start[j] + collen[j]) when collen is given, else
 * [start[j] .. start[j+1]) (start then has ncols + 1 entries).  range may be
 * NULL (no ranged rows); lb/ub NULL mean 0 and +infinity; obj NULL means 0.
 * A ranged row without a range array gets range 0.
 * Entities: coltype[k] is the type of column entind[k]; limit[k] its
 * threshold for 'S', 'R', 'P' (NULL: 0); a 'B' column's bounds are clipped
 * into [0, 1].  Sets: set s holds setind/refval[setstart[s] .. setstart[s+1])
 * (setstart has nsets + 1 entries; refval NULL gives the weights 1, 2, 3 ...).
 * Quadratic rows: row qrowind[k] gets nrowqcoefs[k] consecutive triplets of
 * rowqcol1/rowqcol2/rowqcoef.
 * ---------------------------------------------------------------------- */
QNDA_API int QNDAloadlp(QNDAprob prob, const char *probname, int ncols, int nrows,
                        const char *rowtype, const double *rhs, const double *range,
                        const double *obj, const int *start, const int *collen, const int *rowind,
                        const double *rowcoef, const double *lb, const double *ub);
QNDA_API int QNDAloadlp64(QNDAprob prob, const char *probname, int ncols, int nrows,
                          const char *rowtype, const double *rhs, const double *range,
                          const double *obj, const QNDAint64 *start, const int *collen,
                          const int *rowind, const double *rowcoef, const double *lb,
                          const double *ub);
QNDA_API int QNDAloadqp(QNDAprob prob, const char *probname, int ncols, int nrows,
                        const char *rowtype, const double *rhs, const double *range,
                        const double *obj, const int *start, const int *collen, const int *rowind,
                        const double *rowcoef, const double *lb, const double *ub, int nobjqcoefs,
                        const int *objqcol1, const int *objqcol2, const double *objqcoef);
QNDA_API int QNDAloadqp64(QNDAprob prob, const char *probname, int ncols, int nrows,
                          const char *rowtype, const double *rhs, const double *range,
                          const double *obj, const QNDAint64 *start, const int *collen,
                          const int *rowind, const double *rowcoef, const double *lb,
                          const double *ub, QNDAint64 nobjqcoefs, const int *objqcol1,
                          const int *objqcol2, const double *objqcoef);
QNDA_API int QNDAloadglobal(QNDAprob prob, const char *probname, int ncols, int nrows,
                            const char *rowtype, const double *rhs, const double *range,
                            const double *obj, const int *start, const int *collen,
                            const int *rowind, const double *rowcoef, const double *lb,
                            const double *ub, int nentities, int nsets, const char *coltype,
                            const int *entind, const double *limit, const char *settype,
                            const int *setstart, const int *setind, const double *refval);
QNDA_API int QNDAloadglobal64(QNDAprob prob, const char *probname, int ncols, int nrows,
                              const char *rowtype, const double *rhs, const double *range,
                              const double *obj, const QNDAint64 *start, const int *collen,
                              const int *rowind, const double *rowcoef, const double *lb,
                              const double *ub, int nentities, int nsets, const char *coltype,
                              const int *entind, const double *limit, const char *settype,
                              const QNDAint64 *setstart, const int *setind, const double *refval);
QNDA_API int QNDAloadqglobal(QNDAprob prob, const char *probname, int ncols, int nrows,
                             const char *rowtype, const double *rhs, const double *range,
                             const double *obj, const int *start, const int *collen,
                             const int *rowind, const double *rowcoef, const double *lb,
                             const double *ub, int nobjqcoefs, const int *objqcol1,
                             const int *objqcol2, const double *objqcoef, int nentities, int nsets,
                             const char *coltype, const int *entind, const double *limit,
                             const char *settype, const int *setstart, const int *setind,
                             const double *refval);
QNDA_API int QNDAloadqglobal64(QNDAprob prob, const char *probname, int ncols, int nrows,
                               const char *rowtype, const double *rhs, const double *range,
                               const double *obj, const QNDAint64 *start, const int *collen,
                               const int *rowind, const double *rowcoef, const double *lb,
                               const double *ub, QNDAint64 nobjqcoefs, const int *objqcol1,
                               const int *objqcol2, const double *objqcoef, int nentities,
                               int nsets, const char *coltype, const int *entind,
                               const double *limit, const char *settype, const QNDAint64 *setstart,
                               const int *setind, const double *refval);
QNDA_API int QNDAloadqcqp(QNDAprob prob, const char *probname, int ncols, int nrows,
                          const char *rowtype, const double *rhs, const double *range,
                          const double *obj, const int *start, const int *collen, const int *rowind,
                          const double *rowcoef, const double *lb, const double *ub, int nobjqcoefs,
                          const int *objqcol1, const int *objqcol2, const double *objqcoef,
                          int nqrows, const int *qrowind, const int *nrowqcoefs,
                          const int *rowqcol1, const int *rowqcol2, const double *rowqcoef);
QNDA_API int QNDAloadqcqp64(QNDAprob prob, const char *probname, int ncols, int nrows,
                            const char *rowtype, const double *rhs, const double *range,
                            const double *obj, const QNDAint64 *start, const int *collen,
                            const int *rowind, const double *rowcoef, const double *lb,
                            const double *ub, QNDAint64 nobjqcoefs, const int *objqcol1,
                            const int *objqcol2, const double *objqcoef, int nqrows,
                            const int *qrowind, const QNDAint64 *nrowqcoefs, const int *rowqcol1,
                            const int *rowqcol2, const double *rowqcoef);
QNDA_API int QNDAloadqcqpglobal(QNDAprob prob, const char *probname, int ncols, int nrows,
                                const char *rowtype, const double *rhs, const double *range,
                                const double *obj, const int *start, const int *collen,
                                const int *rowind, const double *rowcoef, const double *lb,
                                const double *ub, int nobjqcoefs, const int *objqcol1,
                                const int *objqcol2, const double *objqcoef, int nqrows,
                                const int *qrowind, const int *nrowqcoefs, const int *rowqcol1,
                                const int *rowqcol2, const double *rowqcoef, int nentities,
                                int nsets, const char *coltype, const int *entind,
                                const double *limit, const char *settype, const int *setstart,
                                const int *setind, const double *refval);
QNDA_API int QNDAloadqcqpglobal64(
    QNDAprob prob, const char *probname, int ncols, int nrows, const char *rowtype,
    const double *rhs, const double *range, const double *obj, const QNDAint64 *start,
    const int *collen, const int *rowind, const double *rowcoef, const double *lb, const double *ub,
    QNDAint64 nobjqcoefs, const int *objqcol1, const int *objqcol2, const double *objqcoef,
    int nqrows, const int *qrowind, const QNDAint64 *nrowqcoefs, const int *rowqcol1,
    const int *rowqcol2, const double *rowqcoef, int nentities, int nsets, const char *coltype,
    const int *entind, const double *limit, const char *settype, const QNDAint64 *setstart,
    const int *setind, const double *refval);

/* ------------------------------------------------------------------------
 * Adding and deleting
 * ---------------------------------------------------------------------- */
/* Row-major: row i's entries are colind/rowcoef[start[i] .. start[i+1]);
 * start has nrows + 1 entries (start may be NULL when ncoefs is 0). */
QNDA_API int QNDAaddrows(QNDAprob prob, int nrows, int ncoefs, const char *rowtype,
                         const double *rhs, const double *range, const int *start,
                         const int *colind, const double *rowcoef);
QNDA_API int QNDAaddrows64(QNDAprob prob, int nrows, QNDAint64 ncoefs, const char *rowtype,
                           const double *rhs, const double *range, const QNDAint64 *start,
                           const int *colind, const double *rowcoef);
/* Column-major likewise; objcoef NULL means 0, lb/ub NULL mean 0 and +inf. */
QNDA_API int QNDAaddcols(QNDAprob prob, int ncols, int ncoefs, const double *objcoef,
                         const int *start, const int *rowind, const double *rowcoef,
                         const double *lb, const double *ub);
QNDA_API int QNDAaddcols64(QNDAprob prob, int ncols, QNDAint64 ncoefs, const double *objcoef,
                           const QNDAint64 *start, const int *rowind, const double *rowcoef,
                           const double *lb, const double *ub);
/* Adds quadratic terms to row `row`. */
QNDA_API int QNDAaddqmatrix(QNDAprob prob, int row, int ncoefs, const int *col1, const int *col2,
                            const double *coef);
QNDA_API int QNDAaddqmatrix64(QNDAprob prob, int row, QNDAint64 ncoefs, const int *col1,
                              const int *col2, const double *coef);
/* Names rows (type 1), columns (2) or sets (3) first..last from a packed list. */
#define QNDA_NAMES_ROWS 1
#define QNDA_NAMES_COLUMNS 2
#define QNDA_NAMES_SETS 3
QNDA_API int QNDAaddnames(QNDAprob prob, int type, const char *names, int first, int last);
/* Packed names first..last into buf (all of them: see the string convention). */
QNDA_API int QNDAgetnames(QNDAprob prob, int type, char *names, int maxbytes, int *nbytes,
                          int first, int last);
/* Index of a named row/column/set, -1 when there is none (not an error). */
QNDA_API int QNDAgetindex(QNDAprob prob, int type, const char *name, int *index);
/* Set s holds colind/refval[start[s] .. start[s+1]); start has nsets + 1
 * entries; refval NULL gives the weights 1, 2, 3 ... */
QNDA_API int QNDAaddsets(QNDAprob prob, int nsets, int nelems, const char *settype,
                         const int *start, const int *colind, const double *refval);
QNDA_API int QNDAaddsets64(QNDAprob prob, int nsets, QNDAint64 nelems, const char *settype,
                           const QNDAint64 *start, const int *colind, const double *refval);
/* Deleting renumbers what follows: the remaining rows (columns, sets) keep
 * their order and close up the gaps. */
QNDA_API int QNDAdelrows(QNDAprob prob, int nrows, const int *rowind);
QNDA_API int QNDAdelcols(QNDAprob prob, int ncols, const int *colind);
QNDA_API int QNDAdelsets(QNDAprob prob, int nsets, const int *setind);
/* Indicator rows: complement 1 makes row rowind[k] active when binary column
 * colind[k] is 1, -1 when it is 0, and 0 makes the row an ordinary row. */
QNDA_API int QNDAsetindicators(QNDAprob prob, int nrows, const int *rowind, const int *colind,
                               const int *complement);
QNDA_API int QNDAgetindicators(QNDAprob prob, int *colind, int *complement, int first, int last);

/* ------------------------------------------------------------------------
 * Changing
 * ---------------------------------------------------------------------- */
/* bndtype: 'U' upper, 'L' lower, 'B' both.  Bounds of binary columns are
 * clipped into [0, 1]. */
QNDA_API int QNDAchgbounds(QNDAprob prob, int nbounds, const int *colind, const char *bndtype,
                           const double *bndval);
QNDA_API int QNDAchgcoef(QNDAprob prob, int row, int col, double coef);
QNDA_API int QNDAchgmcoef(QNDAprob prob, int ncoefs, const int *rowind, const int *colind,
                          const double *rowcoef);
QNDA_API int QNDAchgmcoef64(QNDAprob prob, QNDAint64 ncoefs, const int *rowind, const int *colind,
                            const double *rowcoef);
/* Changing a column to 'B' clips its bounds into [0, 1]. */
QNDA_API int QNDAchgcoltype(QNDAprob prob, int ncols, const int *colind, const char *coltype);
QNDA_API int QNDAchgglblimit(QNDAprob prob, int ncols, const int *colind, const double *limit);
/* colind -1 sets the constant term of the objective: the objective is
 * c'x (+ quadratic part) + constant. */
QNDA_API int QNDAchgobj(QNDAprob prob, int ncols, const int *colind, const double *objcoef);
QNDA_API int QNDAchgqobj(QNDAprob prob, int col1, int col2, double coef);
QNDA_API int QNDAchgmqobj(QNDAprob prob, int ncoefs, const int *col1, const int *col2,
                          const double *coef);
QNDA_API int QNDAchgmqobj64(QNDAprob prob, QNDAint64 ncoefs, const int *col1, const int *col2,
                            const double *coef);
QNDA_API int QNDAchgqrowcoeff(QNDAprob prob, int row, int col1, int col2, double coef);
QNDA_API int QNDAchgrhs(QNDAprob prob, int nrows, const int *rowind, const double *rhs);
/* Makes the rows ranged ('R') with range r >= 0, keeping the bound each had:
 * an 'L' or 'E' row with rhs b becomes b - r <= a'x <= b, a 'G' row b becomes
 * b <= a'x <= b + r (its rhs turns into b + r), an 'R' row keeps its rhs.
 * Free rows cannot take a range. */
QNDA_API int QNDAchgrhsrange(QNDAprob prob, int nrows, const int *rowind, const double *range);
QNDA_API int QNDAchgrowtype(QNDAprob prob, int nrows, const int *rowind, const char *rowtype);
/* 1 minimise, -1 maximise */
QNDA_API int QNDAchgobjsense(QNDAprob prob, int sense);

/* ------------------------------------------------------------------------
 * Queries of the model
 * ---------------------------------------------------------------------- */
/* Rows first..last, row-major.  *ncoefs (when ncoefs is not NULL) gets the
 * number of entries; the outputs are written only when maxcoefs is at least
 * that number, and each may be NULL.  start has last-first+2 entries. */
QNDA_API int QNDAgetrows64(QNDAprob prob, QNDAint64 *start, int *colind, double *rowcoef,
                           QNDAint64 maxcoefs, QNDAint64 *ncoefs, int first, int last);
QNDA_API int QNDAgetcols64(QNDAprob prob, QNDAint64 *start, int *rowind, double *colcoef,
                           QNDAint64 maxcoefs, QNDAint64 *ncoefs, int first, int last);
QNDA_API int QNDAgetcoef(QNDAprob prob, int row, int col, double *coef);
QNDA_API int QNDAgetlb(QNDAprob prob, double *lb, int first, int last);
QNDA_API int QNDAgetub(QNDAprob prob, double *ub, int first, int last);
QNDA_API int QNDAgetobj(QNDAprob prob, double *obj, int first, int last);
QNDA_API int QNDAgetrhs(QNDAprob prob, double *rhs, int first, int last);
/* Ranges of ranged rows; 0 for rows of the other types. */
QNDA_API int QNDAgetrhsrange(QNDAprob prob, double *range, int first, int last);
QNDA_API int QNDAgetrowtype(QNDAprob prob, char *rowtype, int first, int last);
QNDA_API int QNDAgetcoltype(QNDAprob prob, char *coltype, int first, int last);
QNDA_API int QNDAgetqobj(QNDAprob prob, int col1, int col2, double *coef);
/* Upper triangle (col1 <= col2) of the objective's quadratic part for
 * columns first..last, row-major like getrows64. */
QNDA_API int QNDAgetmqobj64(QNDAprob prob, QNDAint64 *start, int *colind, double *objqcoef,
                            QNDAint64 maxcoefs, QNDAint64 *ncoefs, int first, int last);
QNDA_API int QNDAgetmqobj(QNDAprob prob, int *start, int *colind, double *objqcoef, int maxcoefs,
                          int *ncoefs, int first, int last);
QNDA_API int QNDAgetqrowcoeff(QNDAprob prob, int row, int col1, int col2, double *coef);
/* Quadratic part of one row, upper triangle, columns first..last. */
QNDA_API int QNDAgetqrowqmatrix(QNDAprob prob, int row, int *start, int *colind, double *rowqcoef,
                                int maxcoefs, int *ncoefs, int first, int last);
/* All triplets of one row; arrays may be NULL to ask for the count. */
QNDA_API int QNDAgetqrowqmatrixtriplets(QNDAprob prob, int row, int *ncoefs, int *col1, int *col2,
                                        double *coef);
/* Rows with quadratic terms (qrowind may be NULL). */
QNDA_API int QNDAgetqrows(QNDAprob prob, int *nrows, int *qrowind);
/* Entities (the columns that are not 'C', in column order, with their types
 * and thresholds) and sets.  Any output may be NULL; counts are always set.
 * settype has nsets entries, start nsets + 1; setcols and refval are written
 * only when maxsetelems is at least the number of set members. */
QNDA_API int QNDAgetglobal64(QNDAprob prob, int *nentities, int *nsets, char *coltype, int *colind,
                             double *limit, char *settype, QNDAint64 *start, int *setcols,
                             double *refval, QNDAint64 maxsetelems, QNDAint64 *nsetelems);

/* ------------------------------------------------------------------------
 * Optimisation and results
 *
 * flags of lpoptimize: "" engine's choice, "d" dual simplex, "p" primal
 * simplex, "b" barrier; "n" (network) is accepted as the engine's choice;
 * "P" presolves only, leaving the problem presolved (see below).
 * flags of mipoptimize: "l" solves the relaxation only; the LP letters
 * choose the algorithm of node LPs when the engine allows.
 * ---------------------------------------------------------------------- */
QNDA_API int QNDAlpoptimize(QNDAprob prob, const char *flags);
QNDA_API int QNDAmipoptimize(QNDAprob prob, const char *flags);
/* Any output may be NULL. */
QNDA_API int QNDAgetlpsol(QNDAprob prob, double *x, double *slack, double *duals, double *djs);
QNDA_API int QNDAgetmipsol(QNDAprob prob, double *x, double *slack);
QNDA_API int QNDAgetpresolvesol(QNDAprob prob, double *x, double *slack, double *duals,
                                double *djs);
/* Basis statuses (QNDA_AT_LOWER ...); either may be NULL. */
QNDA_API int QNDAgetbasis(QNDAprob prob, int *rowstat, int *colstat);
QNDA_API int QNDAloadbasis(QNDAprob prob, const int *rowstat, const int *colstat);
QNDA_API int QNDAloadlpsol(QNDAprob prob, const double *x, const double *slack, const double *duals,
                           const double *djs, int *status);
/* A MIP start: a value per column, used by the next mipoptimize. */
QNDA_API int QNDAloadmipsol(QNDAprob prob, const double *x, int *status);

/* ------------------------------------------------------------------------
 * Directives, special rows, and what an optimisation tells beyond its
 * solution (the low-level model interface)
 *
 * The presolved state: QNDAlpoptimize or QNDAmipoptimize with the flag
 * 'P' presolves the problem (the MIP keeping its discrete columns) and
 * stops, leaving it presolved.  While presolved, QNDA_ROWS and QNDA_COLS
 * count the presolved problem (QNDA_ORIGINALROWS/COLS the problem's), the
 * "presolve" variants answer for the presolved problem, and a further
 * optimisation solves it; QNDApostsolve maps its solution (and an LP's
 * duals and basis) back onto the problem and ends the state, as does any
 * change of the model.  Otherwise the presolved problem is the problem
 * itself: the variants act on it and the presolve map is the identity.
 * ---------------------------------------------------------------------- */
/* Branching directives: priority (lower first; NULL: 500), direction 'U',
 * 'D' or 'N' (NULL: 'N'), up and down pseudo costs (NULL: 0).  Replace all
 * directives.  Kept, written and read back; the highs engine does not use
 * them (said once in the log). */
QNDA_API int QNDAloaddirs(QNDAprob prob, int ndirs, const int *colind, const int *priority,
                          const char *direction, const double *uppseudo, const double *downpseudo);
QNDA_API int QNDAloadpresolvedirs(QNDAprob prob, int ndirs, const int *colind, const int *priority,
                                  const char *direction, const double *uppseudo,
                                  const double *downpseudo);
/* Preferred directions only: dir[k] > 0 up, < 0 down, 0 (or dir NULL) none. */
QNDA_API int QNDAloadbranchdirs(QNDAprob prob, int ncols, const int *colind, const int *dir);
/* Any output may be NULL; *ndirs gets the count. */
QNDA_API int QNDAgetdirs(QNDAprob prob, int *ndirs, int *colind, int *priority, char *direction,
                         double *uppseudo, double *downpseudo);
/* Rows and columns that must stay in the presolved problem.  The engine's
 * presolve cannot be told to keep them: presolving fails when it removes
 * one. */
QNDA_API int QNDAloadsecurevecs(QNDAprob prob, int nrows, int ncols, const int *rowind,
                                const int *colind);
/* Model cuts: rows of the model the engine may use from the start. */
QNDA_API int QNDAloadmodelcuts(QNDAprob prob, int nrows, const int *rowind);
/* Delayed rows: left out of the first relaxation, added when a solution
 * violates them; every solution reported satisfies them. */
QNDA_API int QNDAloaddelayedrows(QNDAprob prob, int nrows, const int *rowind);
QNDA_API int QNDAloadpresolvebasis(QNDAprob prob, const int *rowstat, const int *colstat);
QNDA_API int QNDAgetpresolvebasis(QNDAprob prob, int *rowstat, int *colstat);
/* 1 when messages of msgcode are shown, 0 when muted (QNDAsetmessagestatus)
 * or switched off (QNDAenablemessages). */
QNDA_API int QNDAgetmessagestatus(QNDAprob prob, int msgcode, int *status);
/* Columns (mx, mdj) and rows (mslack, mdual) of the solution held that are
 * primal infeasible (outside their bounds) or dual infeasible (reduced
 * cost or dual of the wrong sign); counts in npv, nps, nds, ndv; arrays may
 * be NULL. */
QNDA_API int QNDAgetinfeas(QNDAprob prob, int *npv, int *nps, int *nds, int *ndv, int *mx,
                           int *mslack, int *mdual, int *mdj);
QNDA_API int QNDAgetscaledinfeas(QNDAprob prob, int *npv, int *nps, int *nds, int *ndv, int *mx,
                                 int *mslack, int *mdual, int *mdj);
/* Rays of the last LP: primal (per column) of an unbounded one, dual (per
 * row, a Farkas certificate) of an infeasible one.  *hasray 0 when there is
 * none; ray may be NULL to ask only that. */
QNDA_API int QNDAgetprimalray(QNDAprob prob, double *ray, int *hasray);
QNDA_API int QNDAgetdualray(QNDAprob prob, double *ray, int *hasray);
/* The basic variables in basis order: row i as i, column j as rows +
 * sparerows + j. */
QNDA_API int QNDAgetpivotorder(QNDAprob prob, int *pivotorder);
/* Pivots of the last optimal basis for the nonbasic variable enter (row i
 * as i, column j as rows + j): the leaving candidates of the ratio test
 * (up to maxpiv, combined indices), the row slacks and columns after the
 * pivot (rows + columns values) and the objective after it.  LPs whose
 * model reaches the engine unchanged (no sets, indicators, quadratics). */
QNDA_API int QNDAgetpivots(QNDAprob prob, int enter, int *outlist, double *x, double *dobj,
                           int *npiv, int maxpiv);
/* Original row and column of each presolved row and column (the identity
 * outside the presolved state). */
QNDA_API int QNDAgetpresolvemap(QNDAprob prob, int *rowmap, int *colmap);
/* The row  sum origrowcoef[k] x[origcolind[k]]  (rowtype)  origrhs  of the
 * problem in the presolved problem's columns (duplicates summed): columns
 * presolve fixed move into *rhs, shifted or scaled ones come in their
 * presolved form.  *status 0 done, 1 more than maxcoefs coefficients
 * (*ncoefs and *rhs still set), -1 the row uses a column presolve replaced
 * by an expression of several presolved columns.
 * Outside the presolved state the row comes back as given. */
QNDA_API int QNDApresolverow(QNDAprob prob, char rowtype, int norigcoefs, const int *origcolind,
                             const double *origrowcoef, double origrhs, int maxcoefs, int *ncoefs,
                             int *colind, double *rowcoef, double *rhs, int *status);
/* Ends the presolved state: the presolved problem's solution, with an
 * LP's duals and basis, becomes the problem's.  Nothing to do (and no
 * error) when the problem is not presolved. */
QNDA_API int QNDApostsolve(QNDAprob prob);

/* ------------------------------------------------------------------------
 * Files
 * ---------------------------------------------------------------------- */
/* flags: "" guess from the extension (.mps, .lp, optionally .gz); "l" LP
 * format, "m"/"x" MPS; "f"/"o" free or fixed MPS on writing. */
QNDA_API int QNDAreadprob(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAwriteprob(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAwritesol(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAwriteprtsol(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAwriteslxsol(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAreadslxsol(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAwritebasis(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAreadbasis(QNDAprob prob, const char *filename, const char *flags);

/* ------------------------------------------------------------------------
 * Build information
 * ---------------------------------------------------------------------- */
/* What this build contains, one line per part, fields separated by tabs:
 *   "library\tlibqnda\t34.01.00\t"
 *   "engine\t<name>\t<version>\t<problem classes, space-separated>"
 * String convention of the last-error functions: nbytes gets the size
 * needed (with the terminating NUL); info may be NULL to ask for it. */
QNDA_API int QNDAgetbuildinfo(char *info, int maxbytes, int *nbytes);

/* ------------------------------------------------------------------------
 * Saved results
 * ---------------------------------------------------------------------- */
/* The results of the last optimisation (statuses, objective values,
 * solution, duals, basis, counters) as bytes of this library's own format;
 * with the model written to a file, a problem's whole state.  buf NULL asks
 * for the size only.  Loading checks the bytes against the problem's rows
 * and columns and replaces its results (its starting points stay). */
QNDA_API int QNDAsavesolvestate(QNDAprob prob, void *buf, QNDAint64 maxbytes, QNDAint64 *nbytes);
QNDA_API int QNDAloadsolvestate(QNDAprob prob, const void *buf, QNDAint64 nbytes);

/* ------------------------------------------------------------------------
 * Analysis: irreducible infeasible subsystems, repairs, sensitivity
 *
 * A subsystem's members are rows and single column bounds.  The search
 * calls return 0 and set *status: 0 a new subsystem was found, 1 the
 * problem is feasible or no further subsystem exists, 2 the search
 * failed.  Subsystems are numbered from 1 in the order found; they are
 * forgotten when the model changes.
 * ---------------------------------------------------------------------- */
QNDA_API int QNDAiisfirst(QNDAprob prob, int mode, int *status); /* mode 0 any, 1 irreducible */
QNDA_API int QNDAiisnext(QNDAprob prob, int *status);
QNDA_API int QNDAiisall(QNDAprob prob, int *status); /* up to QNDA_MAXIIS */
QNDA_API int QNDAiisclear(QNDAprob prob);
/* Per subsystem (count entries each, any array may be NULL): rows, bounds,
 * the least sum and count of violations it needs with unit weights. */
QNDA_API int QNDAiisstatus(QNDAprob prob, int *count, int *rowsizes, int *colsizes,
                           double *suminfeas, int *numinfeas);
/* Marks the members of subsystem num that are in no other one found. */
QNDA_API int QNDAiisisolations(QNDAprob prob, int num);
/* type 0: the subsystem as an LP file; 1: a CSV list of its members. */
QNDA_API int QNDAiiswrite(QNDAprob prob, int num, const char *filename, int type,
                          const char *flags);
/* Subsystem num: its rows and bounds (constrainttype: row letter;
 * colbndtype 'L' or 'U'), Farkas multipliers (duals of rows, rdcs of
 * bounds; zero on a MIP) and isolation marks (0, 1, or -1 until
 * QNDAiisisolations).  rownumber/colnumber receive the counts; every array
 * may be NULL. */
QNDA_API int QNDAgetiisdata(QNDAprob prob, int num, int *rownumber, int *colnumber, int *miisrow,
                            int *miiscol, char *constrainttype, char *colbndtype, double *duals,
                            double *rdcs, char *isolationrows, char *isolationcols);
/* Repairs.  Weights per row (lrp: the <= side, grp: the >= side) and per
 * column bound; 0 keeps the item hard.  phase2 'n' stops at the least
 * weighted violation, 'o' then optimises the original objective with the
 * violation at most (1 + delta) times that least.  *status: 0 repaired,
 * 1 no repair exists, 2 phase 2 unbounded, 3 phase 2 failed (phase-1
 * point kept), 4 engine error, 6 stopped by a limit.  The repaired point
 * is the problem's solution afterwards.  flags: d, p or b for the LP
 * algorithm. */
QNDA_API int QNDArepairweightedinfeas(QNDAprob prob, int *status, const double *lrp,
                                      const double *grp, const double *lbp, const double *ubp,
                                      char phase2, double delta, const char *flags);
/* The same with limits on each violation (NULL arrays, or entries of
 * 1e20 and more: none). */
QNDA_API int QNDArepairweightedinfeasbounds(QNDAprob prob, int *status, const double *lrp,
                                            const double *grp, const double *lbp, const double *ubp,
                                            const double *lrb, const double *grb, const double *lbb,
                                            const double *ubb, char phase2, double delta,
                                            const char *flags);
/* Uniform weights.  penalty 'c' rows only, 'b' bounds only, 'n' both;
 * phase2 as above; globalflags 'n' (integrality kept; the only one). */
QNDA_API int QNDArepairinfeas(QNDAprob prob, int *status, char penalty, char phase2,
                              char globalflags, double lrp, double grp, double lbp, double ubp,
                              double delta);
/* Ranges of objective coefficients and of row right-hand sides over which
 * the optimal basis of the LP stays optimal. */
QNDA_API int QNDAobjsa(QNDAprob prob, int n, const int *colind, double *lower, double *upper);
QNDA_API int QNDArhssa(QNDAprob prob, int n, const int *rowind, double *lower, double *upper);
/* Strong branching on the LP relaxation: each bound change (bndtype 'L',
 * 'U' or 'B') solved by the dual simplex from the optimal basis, at most
 * itrlimit iterations (<= 0: no limit); objective and QNDA_LP_* status per
 * candidate (either array may be NULL). */
QNDA_API int QNDAstrongbranch(QNDAprob prob, int nbounds, const int *colind, const char *bndtype,
                              const double *bndval, int itrlimit, double *objval, int *status);
/* The tuner: solves the problem under candidate settings of lpalgorithm,
 * presolve and scaling within tunermaxtime seconds and applies the fastest
 * that reaches the same result (docs/analysis.md); flags 'l' tunes the LP
 * relaxation.  A method file holds name=value lines of those controls. */
QNDA_API int QNDAtune(QNDAprob prob, const char *flags);
QNDA_API int QNDAtunerwritemethod(QNDAprob prob, const char *methodfile);
QNDA_API int QNDAtunerreadmethod(QNDAprob prob, const char *methodfile);
/* The whole problem (controls, model, basis, solution) into <name>.svf, and
 * back into prob from <probname>.svf; the restored problem starts from the
 * saved basis.  No flags are known. */
QNDA_API int QNDAsave(QNDAprob prob);
QNDA_API int QNDArestore(QNDAprob prob, const char *probname, const char *flags);
/* Condition number estimate of the LP's optimal basis: type 0 (the basis),
 * norm 1 (||B||_1 ||B^-1||_1, Hager's estimator), ifscaled 0. */
QNDA_API int QNDAbasisstability(QNDAprob prob, int type, int norm, int ifscaled, double *value);

/* ------------------------------------------------------------------------
 * Analysis: dual ranges, refining and fixing MIP solutions, user scaling,
 * directive and binary solution files, message codes
 * ---------------------------------------------------------------------- */
/* For each row, an estimate of the interval of its dual value (shadow
 * price) over the optimal solutions: the row's right-hand side is moved
 * just past either end of its range (QNDArhssa) and the LP re-solved by the
 * dual simplex from the optimal basis, at most itrlimit iterations a side
 * (<= 0: no limit); the duals met bound the interval.  A side that ends
 * infeasible or unfinished gives -1e20 or 1e20.  LPs only. */
QNDA_API int QNDAestimaterowdualranges(QNDAprob prob, int nrows, const int *rowind, int itrlimit,
                                       double *mindual, double *maxdual);
/* Fixes the discrete columns at the values of solution (NULL: the
 * problem's solution) and solves what remains (the LP of the continuous
 * columns; binaries of sets and indicators stay free) for the original
 * objective.  options: QNDA_REFINE_ROUND rounds integer values first
 * (else a value further than miptol from an integer is refused); flags:
 * d, p or b for the LP algorithm.  *status: 0 refined (refined holds the
 * polished point, no worse than solution when that was feasible), 1 the
 * fixed problem is infeasible, 2 solution is not integral, 3 unbounded,
 * 4 stopped by a limit; refined is solution itself unless 0.  The
 * problem's own solution is left as it is. */
#define QNDA_REFINE_ROUND 1
QNDA_API int QNDArefinemipsol(QNDAprob prob, int options, const char *flags, const double *solution,
                              double *refined, int *status);
/* Fixes every discrete column ('I', 'B', 'S', 'R', 'P') at its value in
 * the problem's solution, rounded to an integer when ifround (integral
 * kinds only); semi-continuous and partially integer columns become
 * continuous columns fixed at their value. */
QNDA_API int QNDAfixglobals(QNDAprob prob, int ifround);
/* Scales row i by 2^rowexp[i] and column j by 2^colexp[j] (NULL: none;
 * exponents within +-64) in the model the engines get; every result is
 * read back as of the unscaled model.  Replaces earlier scaling; a model
 * loaded anew is unscaled.  Discrete columns take exponent 0. */
QNDA_API int QNDAscale(QNDAprob prob, const int *rowexp, const int *colexp);
/* Branching directives (QNDAloaddirs) as a text file: '#' comment lines,
 * then one line per column "<priority> <U|D|N> <up> <down> <column name>".
 * Reading replaces the directives; columns are found by name. */
QNDA_API int QNDAwritedirs(QNDAprob prob, const char *filename);
QNDA_API int QNDAreaddirs(QNDAprob prob, const char *filename);
/* The solution as a binary file: a header (magic "QNDABSOL", version,
 * rows, columns, statuses, objective) and the columns' values, the rows'
 * slacks, the duals and the reduced costs (docs/analysis.md).  Reading
 * checks the counts against the problem and makes the file's solution the
 * problem's (and the start of its next optimisation).  No flags known. */
QNDA_API int QNDAwritebinsol(QNDAprob prob, const char *filename, const char *flags);
QNDA_API int QNDAreadbinsol(QNDAprob prob, const char *filename, const char *flags);
/* Message codes: status 0 mutes the messages of msgcode on this problem
 * (their handlers and the log do not see them), nonzero shows them again.
 * QNDAgetmessagestatus answers per code.  The codes of the library: */
#define QNDA_MSG_ENGINE_LOG 100   /* a line of the engine's own log */
#define QNDA_MSG_SOLVE_START 101  /* "Solving ..." and the reformulation summary */
#define QNDA_MSG_SOLVE_STATUS 102 /* the status line at the end of a solve */
#define QNDA_MSG_STOPPED 103      /* why a solve stopped, and local optimality */
#define QNDA_MSG_DIRECTIVES 104   /* directives the engine does not use */
#define QNDA_MSG_ROUTE 105        /* which engine route a quadratic model takes */
#define QNDA_MSG_ANALYSIS 106     /* summaries of repairs and of the tuner */
QNDA_API int QNDAsetmessagestatus(QNDAprob prob, int msgcode, int status);

/* ------------------------------------------------------------------------
 * Callbacks of an optimisation
 *
 * Each kind keeps a list per problem: callbacks with a higher priority run
 * first, equal priorities in the order they were added.  The same function
 * may be added several times (with the same or other data); removing with
 * a NULL function removes every callback of the kind, with NULL data every
 * registration of the function.  Lists may be changed from any thread, also
 * while an optimisation runs.  Inside a callback, the result queries
 * (QNDAgetlpsol, QNDAgetmipsol) and the solve attributes of the problem
 * handed to the callback answer for the event: the solution just found, the
 * node counts, bounds and gap of the running search.
 *
 * Which engine serves which kind: docs/callbacks.md.  A kind the chosen
 * engine cannot fire makes the optimisation fail with a message rather than
 * run without it.
 * ---------------------------------------------------------------------- */
typedef struct qnda_branchobj_s *QNDAbranchobject;

/* Integer attribute: the engine of the last optimisation (a MIP search with
 * an optnode or preintsol callback runs on Cbc). */
#define QNDA_ENGINE_ATTR 1060
#define QNDA_ENGINE_HIGHS 1
#define QNDA_ENGINE_CBC 2
/* Integer attributes answered inside node callbacks: the node the event is
 * about (the root is 1) and its depth (the root's is 1); 0 elsewhere. */
#define QNDA_CURRENTNODE 1061
#define QNDA_NODEDEPTH 1062

/* Return nonzero to stop the optimisation (stop reason QNDA_STOP_USER). */
typedef int (*QNDAcb_lplog)(QNDAprob prob, void *data);
typedef int (*QNDAcb_barlog)(QNDAprob prob, void *data);
typedef int (*QNDAcb_globallog)(QNDAprob prob, void *data);
typedef int (*QNDAcb_cutlog)(QNDAprob prob, void *data);
/* *action: 0 continue, nonzero stops the barrier (QNDA_STOP_USER). */
typedef void (*QNDAcb_bariteration)(QNDAprob prob, void *data, int *action);
/* An improving MIP solution was found; QNDAgetmipsol gives it. */
typedef void (*QNDAcb_intsol)(QNDAprob prob, void *data);
/* Called when the incumbent or the bound of the search moved.  The four
 * targets (relative gap, absolute gap, objective value, bound) arrive as the
 * ones in force, an unset one as a value that is never met (+-QNDA_INFINITY);
 * the running search stops (QNDA_STOP_MIPGAP) as soon as one target is met:
 * a gap at or below its target, an incumbent at least as good as the
 * objective target, a bound that reaches the bound target. */
typedef void (*QNDAcb_gapnotify)(QNDAprob prob, void *data, double *relgaptarget,
                                 double *absgaptarget, double *objtarget, double *boundtarget);
/* A user solution (the MIP start of QNDAloadmipsol, named "mipstart") was
 * looked at: status 1 feasible, 4 infeasible (bounds, rows or integrality
 * violated), 5 of the wrong length. */
typedef void (*QNDAcb_usersolnotify)(QNDAprob prob, void *data, const char *solname, int status);
/* Node events of the branch-and-bound search. */
typedef void (*QNDAcb_infnode)(QNDAprob prob, void *data);
typedef void (*QNDAcb_nodecutoff)(QNDAprob prob, void *data, int node);
typedef void (*QNDAcb_newnode)(QNDAprob prob, void *data, int parentnode, int node, int branch);
/* *feas: set nonzero to declare the node infeasible. */
typedef void (*QNDAcb_optnode)(QNDAprob prob, void *data, int *feas);
typedef void (*QNDAcb_prenode)(QNDAprob prob, void *data, int *nodeinfeas);
/* soltype 0 from a node relaxation, 1 from a heuristic; *reject nonzero
 * rejects it; *cutoff may be lowered (raised when maximising). */
typedef void (*QNDAcb_preintsol)(QNDAprob prob, void *data, int soltype, int *reject,
                                 double *cutoff);
typedef void (*QNDAcb_chgbranchobject)(QNDAprob prob, void *data, QNDAbranchobject branch,
                                       QNDAbranchobject *newbranch);
/* Worker problems of a parallel search: created and ended. */
typedef void (*QNDAcb_mipthread)(QNDAprob prob, void *data, QNDAprob threadprob);
typedef void (*QNDAcb_destroymt)(QNDAprob prob, void *data);

#define QNDA_CALLBACK_PAIR(kind)                                                          \
  QNDA_API int QNDAaddcb##kind(QNDAprob prob, QNDAcb_##kind f, void *data, int priority); \
  QNDA_API int QNDAremovecb##kind(QNDAprob prob, QNDAcb_##kind f, void *data);
QNDA_CALLBACK_PAIR(bariteration)
QNDA_CALLBACK_PAIR(barlog)
QNDA_CALLBACK_PAIR(chgbranchobject)
QNDA_CALLBACK_PAIR(cutlog)
QNDA_CALLBACK_PAIR(destroymt)
QNDA_CALLBACK_PAIR(gapnotify)
QNDA_CALLBACK_PAIR(globallog)
QNDA_CALLBACK_PAIR(infnode)
QNDA_CALLBACK_PAIR(intsol)
QNDA_CALLBACK_PAIR(lplog)
QNDA_CALLBACK_PAIR(mipthread)
QNDA_CALLBACK_PAIR(newnode)
QNDA_CALLBACK_PAIR(nodecutoff)
QNDA_CALLBACK_PAIR(optnode)
QNDA_CALLBACK_PAIR(preintsol)
QNDA_CALLBACK_PAIR(prenode)
QNDA_CALLBACK_PAIR(usersolnotify)
#undef QNDA_CALLBACK_PAIR
/* The message kind is QNDAaddcbmessage / QNDAremovecbmessage above. */

/* ----------------------------------------------------------------------
 * Cuts.  The cut pool of a problem keeps cuts (rows over its columns with a
 * user type) under handles that stay valid until the cut is deleted from
 * the pool; cuts enter the running search only from a node callback
 * (optnode, or preintsol for a candidate of a node's relaxation) of a MIP
 * search on the Cbc engine: QNDAaddcuts, QNDAloadcuts and QNDAsetbranchcuts
 * give cuts, QNDAsetbranchbounds bounds, to the node at hand (and so to
 * every node below it), which the engine solves again with them.  Cuts
 * given while a heuristic's candidate is tested apply to the whole search.
 *
 * Row types are 'L', 'G' and 'E'; start has ncuts + 1 entries.  A
 * selection (cuttype, interp) picks the pool's cuts: interp -1 every cut,
 * 1 cuts whose type equals cuttype, 2 cuts sharing a bit with it, 3 cuts
 * having all its bits; a list of handles (ncuts >= 0) overrides it.
 * Slacks (rhs - a'x) and violations are measured at the solution of the
 * event (the node's relaxation), or of the last solve outside callbacks.
 * ---------------------------------------------------------------------- */
typedef struct qnda_cut_s *QNDAcut;

/* New cuts for the node at hand; they enter the pool too. */
QNDA_API int QNDAaddcuts(QNDAprob prob, int ncuts, const int *cuttype, const char *rowtype,
                         const double *rhs, const int *start, const int *colind,
                         const double *cutcoef);
/* Stores cuts in the pool and writes their handles (ncuts of them).
 * nodupl 0 keeps every cut, 1 gives a cut equal to a stored one of the same
 * type the stored one's handle, 2 does so for a stored one of any type. */
QNDA_API int QNDAstorecuts(QNDAprob prob, int ncuts, int nodupl, const int *cuttype,
                           const char *rowtype, const double *rhs, const int *start,
                           QNDAcut *cutind, const int *colind, const double *cutcoef);
/* Gives pool cuts (a selection, or ncuts handles) to the node at hand. */
QNDA_API int QNDAloadcuts(QNDAprob prob, int cuttype, int interp, int ncuts, const QNDAcut *cutind);
/* Takes cuts given at this event back before the engine sees them; cuts
 * already in the engine's node matrix stay (Cbc takes off those that are
 * not binding itself), and naming one of them fails.  basis and delta are
 * accepted for the selection's form: the cuts taken back have no slack in
 * the node's matrix yet. */
QNDA_API int QNDAdelcuts(QNDAprob prob, int basis, int cuttype, int interp, double delta, int ncuts,
                         const QNDAcut *cutind);
/* Deletes cuts from the pool; their handles become invalid. */
QNDA_API int QNDAdelcpcuts(QNDAprob prob, int cuttype, int interp, int ncuts,
                           const QNDAcut *cutind);
/* The pool cuts of a selection in the node's matrix (inside a node
 * callback): *ncuts of them, at most size written. */
QNDA_API int QNDAgetcutlist(QNDAprob prob, int cuttype, int interp, int *ncuts, int size,
                            QNDAcut *cutind);
/* The pool cuts of a selection violated by more than delta at the event's
 * solution, with their violations (viol may be NULL); *ncuts of them, at
 * most size written. */
QNDA_API int QNDAgetcpcutlist(QNDAprob prob, int cuttype, int interp, double delta, int *ncuts,
                              int size, QNDAcut *cutind, double *viol);
/* The data of ncuts pool cuts: start gets ncuts + 1 entries, colind and
 * cutcoef at most size; any output may be NULL. */
QNDA_API int QNDAgetcpcuts(QNDAprob prob, const QNDAcut *cutind, int ncuts, int size, int *cuttype,
                           char *rowtype, int *start, int *colind, double *cutcoef, double *rhs);
/* For each cut, its row in the node's matrix, or -1 when it is not in it. */
QNDA_API int QNDAgetcutmap(QNDAprob prob, int ncuts, const QNDAcut *cutind, int *cutmap);
/* rhs - a'x of a pool cut at the event's solution. */
QNDA_API int QNDAgetcutslack(QNDAprob prob, QNDAcut cut, double *slack);
/* Bounds kept under a handle for QNDAsetbranchbounds; bndtype 'L', 'U' or
 * 'B' (both). */
QNDA_API int QNDAstorebounds(QNDAprob prob, int nbounds, const int *colind, const char *bndtype,
                             const double *bndval, void **bounds);
/* Gives the node at hand the stored bounds (which then hold for every
 * node below it), or the pool cuts listed. */
QNDA_API int QNDAsetbranchbounds(QNDAprob prob, void *bounds);
QNDA_API int QNDAsetbranchcuts(QNDAprob prob, int ncuts, const QNDAcut *cutind);

/* ------------------------------------------------------------------------
 * Branching objects.  A chgbranchobject callback gets the engine's choice
 * for a node (NULL when it is not a plain split of one integer column) and
 * may hand back another object: the node is then split into that object's
 * branches, explored in order with the preferred branch first, each child
 * getting its branch's column bounds and rows (on the problem's columns).
 * An optnode callback may store one for its node instead (QNDA_bo_store).
 * An object handed to the engine is the engine's to destroy; the one the
 * callback was given is destroyed by the engine after the callback.
 * ---------------------------------------------------------------------- */
QNDA_API int QNDA_bo_create(QNDAbranchobject *bo, QNDAprob prob, int isoriginal);
QNDA_API int QNDA_bo_destroy(QNDAbranchobject bo);
QNDA_API int QNDA_bo_addbranches(QNDAbranchobject bo, int nbranches);
QNDA_API int QNDA_bo_getbranches(QNDAbranchobject bo, int *nbranches);
/* Lower values first, as for branching directives (default 500). */
QNDA_API int QNDA_bo_setpriority(QNDAbranchobject bo, int priority);
QNDA_API int QNDA_bo_setpreferredbranch(QNDAbranchobject bo, int ibranch);
/* bndtype 'L' lower, 'U' upper, 'B' both, on column colind[k] at bndval[k]. */
QNDA_API int QNDA_bo_addbounds(QNDAbranchobject bo, int ibranch, int nbounds, const char *bndtype,
                               const int *colind, const double *bndval);
/* *nbounds gets the branch's count; at most maxbounds are written to the
 * arrays, which may be NULL. */
QNDA_API int QNDA_bo_getbounds(QNDAbranchobject bo, int ibranch, int *nbounds, int maxbounds,
                               char *bndtype, int *colind, double *bndval);
/* Rows of type 'L', 'G' or 'E' (a range is two rows): row i has the entries
 * start[i] .. start[i+1]-1 of colind and rowcoef. */
QNDA_API int QNDA_bo_addrows(QNDAbranchobject bo, int ibranch, int nrows, const char *rowtype,
                             const double *rhs, const int *start, const int *colind,
                             const double *rowcoef);
/* *nrows and *nelems get the branch's counts; at most maxrows rows (start
 * gets maxrows + 1 entries) and maxelems entries are written. */
QNDA_API int QNDA_bo_getrows(QNDAbranchobject bo, int ibranch, int *nrows, int maxrows, int *nelems,
                             int maxelems, char *rowtype, double *rhs, int *start, int *colind,
                             double *rowcoef);
QNDA_API int QNDA_bo_getid(QNDAbranchobject bo, int *id);
QNDA_API int QNDA_bo_getlasterror(QNDAbranchobject bo, int *msgcode, char *msg, int maxbytes,
                                  int *nbytes);
/* *status 0 when every branch can be applied to the problem (columns in
 * range, bounds not crossing), else 1 with the reason as the last error. */
QNDA_API int QNDA_bo_validate(QNDAbranchobject bo, int *status);
/* Rows of branch ibranch copied from ncuts cuts of the problem's cut pool
 * (handles of QNDAstorecuts); a handle not in the pool adds nothing and
 * fails. */
QNDA_API int QNDA_bo_addcuts(QNDAbranchobject bo, int ibranch, int ncuts, const QNDAcut *cuts);
/* Inside an optnode callback of a MIP search on the cbc engine: offers the
 * object for the node at hand, which, when it branches, is split into the
 * object's branches as if a chgbranchobject callback had returned it (such
 * callbacks then see it as the node's branching).  *status 0: stored, and the
 * library owns the object from then on (do not use or destroy it); 1: it
 * cannot be applied (no branches, columns out of range, crossing bounds),
 * with the reason as its last error, and it stays the caller's.  Called
 * outside such a callback it fails with QNDA_ERR_STATE.  Storing again at the
 * same node replaces the object stored before. */
QNDA_API int QNDA_bo_store(QNDAbranchobject bo, int *status);

#ifdef __cplusplus
}
#endif

#endif /* QNDA_H */
