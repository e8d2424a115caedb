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
#define QSLP_ORIGINALROWS 11999      /* rows of the nonlinear problem (the main problem's) */
#define QSLP_ORIGINALCOLS 12000      /* columns of the nonlinear problem (likewise) */
#define QSLP_CONSTANTCOL 12013       /* index of the designated constant column */
#define QSLP_NONLINEAREQROWS 12016   /* equality rows with nonlinear coefficients */
#define QSLP_NONLINEARINEQROWS 12026 /* other rows with nonlinear coefficients */
#define QSLP_NLPSTATUS 12044         /* one of QSLP_NLPSTATUS_* */
#define QSLP_STOPSTATUS 12045        /* one of QNDA_STOP_* */
#define QSLP_ITER 12046              /* iterations of the last nonlinear solve */
#define QSLP_COEFFICIENTS 12047      /* nonlinear coefficients */
#define QSLP_USERFUNCS 12048         /* user functions defined */
#define QSLP_ALGORITHMUSED 12049     /* QSLP_ALG_* of the last nonlinear solve */
#define QSLP_MSJOBS 12050            /* multistart jobs waiting */
#define QSLP_MSWINNER 12051          /* job (from 0) whose result was kept; -1 none */
#define QSLP_GLOBALNODES 12052       /* nodes of the last mixed-integer search */
/* Double attributes */
#define QSLP_OBJVAL 12179
#define QSLP_SOLVETIME 12180
#define QSLP_MAXVIOLATION 12181 /* largest row or bound violation of the solution */
#define QSLP_MSBESTOBJ 12182    /* objective of the best multistart job */
/* Pointer attributes */
#define QSLP_QNDAPROB 12601 /* the main problem behind a nonlinear one */

/* Double controls */
#define QSLP_OBJSENSE 12146  /* 1.0 minimise, -1.0 maximise */
#define QSLP_FEASTOL 12147   /* absolute tolerance on row and bound violations */
#define QSLP_OPTTOL 12148    /* optimality (dual) tolerance */
#define QSLP_TIMELIMIT 12149 /* seconds; <= 0: none */
#define QSLP_ATOL_VAR 12150  /* absolute tolerance on the last step of a variable */
#define QSLP_RTOL_VAR 12151  /* relative tolerance on the last step of a variable */
#define QSLP_ATOL_OBJ 12152  /* absolute tolerance on the objective's change */
#define QSLP_RTOL_OBJ 12153  /* relative tolerance on the objective's change */
#define QSLP_RTOL_ROW 12154  /* relative tolerance on row violations */
#define QSLP_DELTA0 12155    /* first step bound; 0: from the variables' sizes */
#define QSLP_DELTAMIN 12156  /* smallest step bound before giving up */
#define QSLP_PENALTY0 12157  /* first weight of the penalty error vectors */
/* Integer controls */
#define QSLP_ITERLIMIT 12401
#define QSLP_LOGLEVEL 12402     /* 0 silent, 1 summary, 2 a line per iteration */
#define QSLP_ALGORITHM 12403    /* QSLP_ALG_*; the default is QSLP_ALG_AUTO */
#define QSLP_STEPBOUNDS 12404   /* QSLP_STEPBOUNDS_* */
#define QSLP_SLPCURVATURE 12405 /* 1: SLP steps see the Lagrangian's curvature (QP steps) */
#define QSLP_MSTHREADS 12416    /* threads of a multistart; 0: one per core */
#define QSLP_MSSEED 12417       /* seed of the random starting points */
#define QSLP_MSMAXSOLVES 12418  /* jobs run at most; 0: all */
#define QSLP_MINLPALG 12419     /* QSLP_MINLP_*: the mixed-integer method */
#define QSLP_AUTOINIT \
  12415 /* 0: do not fill the nonlinear problem from the
                                     main one when it is created */
/* String controls */
#define QSLP_SOLVERNAME 12701 /* the interior-point engine: "ipopt" */

/* Values of QSLP_ALGORITHM */
#define QSLP_ALG_AUTO 0  /* the interior-point engine when present, else SLP */
#define QSLP_ALG_SLP 1   /* successive linear programming on the LP engine */
#define QSLP_ALG_IPOPT 2 /* interior point (Ipopt), exact second derivatives */

/* Values of QSLP_MINLPALG */
#define QSLP_MINLP_BB 0     /* nonlinear branch-and-bound */
#define QSLP_MINLP_OA 1     /* outer approximation (convex problems) */
#define QSLP_MINLP_HYBRID 2 /* branch-and-cut with outer approximations */

/* Multistart presets */
#define QSLP_MSPRESET_INITIALVALUES 1 /* random starting points within the bounds */
#define QSLP_MSPRESET_PERTURB 2       /* the current point perturbed */
#define QSLP_MSPRESET_ALGORITHMS 3    /* a sweep of the algorithm controls */

/* Values of QSLP_STEPBOUNDS */
#define QSLP_STEPBOUNDS_NONE 0     /* no step bounds (variables must be bounded) */
#define QSLP_STEPBOUNDS_ADAPTIVE 1 /* a trust region resized by the step's quality */
#define QSLP_STEPBOUNDS_FIXED 2    /* step bounds stay at QSLP_DELTA0 */

/* Values of QSLP_NLPSTATUS */
#define QSLP_NLPSTATUS_UNSTARTED 0
#define QSLP_NLPSTATUS_LOCALLY_OPTIMAL 1
#define QSLP_NLPSTATUS_OPTIMAL 2
#define QSLP_NLPSTATUS_LOCALLY_INFEASIBLE 3
#define QSLP_NLPSTATUS_INFEASIBLE 4
#define QSLP_NLPSTATUS_UNBOUNDED 5
#define QSLP_NLPSTATUS_UNFINISHED 6

/* Formula tokens: types */
#define QSLP_TOK_EOF 0    /* end of formula */
#define QSLP_TOK_CON 1    /* constant; value: the number */
#define QSLP_TOK_STRING 5 /* string table entry (user function definitions) */
#define QSLP_TOK_COL 10   /* column; value: its index */
#define QSLP_TOK_FUN 11   /* user function; value: its index (from 1) */
#define QSLP_TOK_IFUN 12  /* built-in function; value: QSLP_IFUN_* */
#define QSLP_TOK_LB 22    /* "("; in parsed form the start of a function's arguments */
#define QSLP_TOK_RB 23    /* ")" (infix form only) */
#define QSLP_TOK_DEL 24   /* "," (infix form only) */
#define QSLP_TOK_OP 31    /* operator; value: QSLP_OP_* */
/* Operators */
#define QSLP_OP_UMINUS 1
#define QSLP_OP_EXPONENT 2
#define QSLP_OP_MULTIPLY 3
#define QSLP_OP_DIVIDE 4
#define QSLP_OP_PLUS 5
#define QSLP_OP_MINUS 6
/* Built-in functions */
#define QSLP_IFUN_LOG10 14
#define QSLP_IFUN_LN 15
#define QSLP_IFUN_EXP 16
#define QSLP_IFUN_ABS 17
#define QSLP_IFUN_SQRT 18
#define QSLP_IFUN_SIN 27
#define QSLP_IFUN_COS 28
#define QSLP_IFUN_TAN 29
#define QSLP_IFUN_ARCSIN 30
#define QSLP_IFUN_ARCCOS 31
#define QSLP_IFUN_ARCTAN 32
#define QSLP_IFUN_MIN 33
#define QSLP_IFUN_MAX 34
#define QSLP_IFUN_SIGN 46
#define QSLP_IFUN_ERF 49
#define QSLP_IFUN_ERFC 50
#define QSLP_IFUN_CBFORMULA 60 /* cbformula(a): the formula callback (QSLPsetcbformula) */

/* User function definitions (QSLPadduserfuncs): per function the tokens
 * (QSLP_TOK_STRING, name), (QSLP_UFTOK_RETURNS, 1), (QSLP_UFTOK_CALL, one of
 * QSLP_UFCALL_*), (QSLP_TOK_STRING, linkage: "DirectC"), (QSLP_TOK_EOF, 0). */
#define QSLP_UFTOK_CALL 86
#define QSLP_UFTOK_RETURNS 87
#define QSLP_UFCALL_VALUE 19           /* QSLPuserfunc: value only */
#define QSLP_UFCALL_DERIVATIVES 110611 /* QSLPuserfuncderiv: value and partials */
/* Name types of QSLPaddnames */
#define QSLP_NAMES_USERFUNCS 5
/* Objects of QSLPgetfuncobject */
#define QSLP_FUNCOBJ_SLPPROB 1
#define QSLP_FUNCOBJ_QNDAPROB 2

/* The context of one call of a user function (valid during the call). */
typedef struct qslp_funcctx_s *QSLPfuncctx;
/* Value of a function of ninputs inputs (QSLPgetfuncinfo). */
typedef double (*QSLPuserfunc)(const double *inputs, QSLPfuncctx ctx);
/* Value, and the partials of the inputs whose flag is nonzero written to
 * partials[i]; the others are not read. */
typedef double (*QSLPuserfuncderiv)(const double *inputs, const int *flags, double *partials,
                                    QSLPfuncctx ctx);

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

/* Interrupts a running nonlinear solve from any thread (QNDA_STOP_* reason). */
QNDA_API int QSLPinterrupt(QSLPprob prob, int reason);

/* --- Formulas ---------------------------------------------------------
 * Token arrays end with a QSLP_TOK_EOF token; maxtokens counts it. */
/* Text -> infix tokens. */
QNDA_API int QSLPpreparseformula(QSLPprob prob, const char *formula, int maxtokens, int *ntokens,
                                 int *type, double *value);
/* Infix tokens -> parsed (reverse Polish) tokens. */
QNDA_API int QSLPparseformula(QSLPprob prob, const int *intype, const double *invalue,
                              int maxtokens, int *ntokens, int *type, double *value);
/* Text -> parsed tokens. */
QNDA_API int QSLPparsecformula(QSLPprob prob, const char *formula, int maxtokens, int *ntokens,
                               int *type, double *value);
/* Parsed tokens -> text. */
QNDA_API int QSLPformulatext(QSLPprob prob, const int *type, const double *value, char *text,
                             int maxbytes, int *nbytes);
/* *valid 1 when the parsed formula is well formed, else 0 and the reason in
 * message (may be NULL). */
QNDA_API int QSLPvalidformula(QSLPprob prob, const int *type, const double *value, int *valid,
                              char *message, int maxbytes, int *nbytes);
/* Value of a parsed formula at x (one value per column). */
QNDA_API int QSLPevaluateformula(QSLPprob prob, const int *type, const double *value,
                                 const double *x, double *result);

/* --- Nonlinear coefficients ---------------------------------------------
 * A coefficient (row, column) adds factor * formula(x) * x[column] to the
 * row; with column QSLPgetintattrib(QSLP_CONSTANTCOL) it adds
 * factor * formula(x).  Row -1 is the objective.  Formulas are parsed tokens
 * (parsed = 1) or infix tokens (parsed = 0); start has ncoefs + 1 entries. */
QNDA_API int QSLPaddcoefs(QSLPprob prob, int ncoefs, const int *rowindex, const int *colindex,
                          const double *factor, const int *start, int parsed, const int *type,
                          const double *value);
/* Replaces every coefficient. */
QNDA_API int QSLPloadcoefs(QSLPprob prob, int ncoefs, const int *rowindex, const int *colindex,
                           const double *factor, const int *start, int parsed, const int *type,
                           const double *value);
/* Sets one coefficient from tokens (type NULL: keeps the formula, changes the
 * factor); factor NULL keeps the factor (1 for a new coefficient). */
QNDA_API int QSLPchgcoef(QSLPprob prob, int row, int col, const double *factor, int parsed,
                         const int *type, const double *value);
/* Sets one coefficient from text; an empty or NULL formula deletes it. */
QNDA_API int QSLPchgccoef(QSLPprob prob, int row, int col, const double *factor,
                          const char *formula);
QNDA_API int QSLPdelcoefs(QSLPprob prob, int ncoefs, const int *rowindex, const int *colindex);
/* One coefficient as text; an absent coefficient fails with QNDA_ERR_INDEX. */
QNDA_API int QSLPgetccoef(QSLPprob prob, int row, int col, double *factor, char *formula,
                          int maxbytes, int *nbytes);
/* The formula of one coefficient as text ("factor * formula" when factor != 1). */
QNDA_API int QSLPgetcoefformula(QSLPprob prob, int row, int col, char *formula, int maxbytes,
                                int *nbytes);
/* Every coefficient: rows, columns, factors, and the parsed formulas as in
 * QSLPaddcoefs.  Any output may be NULL; *ncoefs and *ntokens count them. */
QNDA_API int QSLPgetcoefs(QSLPprob prob, int *ncoefs, int *rowindex, int *colindex, double *factor,
                          int *start, int maxtokens, int *ntokens, int *type, double *value);
/* Value of coefficient's formula (times its factor) at x. */
QNDA_API int QSLPevaluatecoef(QSLPprob prob, int row, int col, const double *x, double *result);

/* --- User functions --------------------------------------------------- */
/* Enters a string into the string table; *index is its index (from 1). */
QNDA_API int QSLPsetstring(QSLPprob prob, int *index, const char *string);
/* Defines nfuncs functions by their definition tokens (see QSLP_UFTOK_*). */
QNDA_API int QSLPadduserfuncs(QSLPprob prob, int nfuncs, const int *type, const double *value);
/* Names of items first..last of a kind (QSLP_NAMES_USERFUNCS), each ended by
 * a zero byte. */
QNDA_API int QSLPaddnames(QSLPprob prob, int type, const char *names, int first, int last);
/* The entry point of user function index: a QSLPuserfunc or a
 * QSLPuserfuncderiv as its definition says. */
QNDA_API int QSLPchguserfuncaddress(QSLPprob prob, int index, void *address);
QNDA_API int QSLPsetuserfuncobject(QSLPprob prob, int index, void *object);
QNDA_API int QSLPgetuserfuncobject(QSLPprob prob, int index, void **object);
/* Inside a user function: the problem (QSLP_FUNCOBJ_*) it is evaluated for. */
QNDA_API int QSLPgetfuncobject(QSLPfuncctx ctx, int which, void **object);
/* Inside a user function: its number of inputs and its index. */
QNDA_API int QSLPgetfuncinfo(QSLPfuncctx ctx, int *ninputs, int *index);

/* --- Solving ----------------------------------------------------------- */
/* Optimises the nonlinear problem (flags: NULL or ""). */
QNDA_API int QSLPnlpoptimize(QSLPprob prob, const char *flags);
/* Starting values of n columns for the next solve (cols NULL: columns 0 to
 * n - 1); the others start at 0, moved into their bounds. */
QNDA_API int QSLPsetinitialvalues(QSLPprob prob, int n, const int *cols, const double *values);
/* The last solution becomes the start of the next solve. */
QNDA_API int QSLPsetcurrentiv(QSLPprob prob);
/* The last solution: column values, row slacks (rhs - activity), row duals
 * and reduced costs; any may be NULL. */
QNDA_API int QSLPgetslpsol(QSLPprob prob, double *x, double *slack, double *dual, double *dj);

/* --- Callbacks of the nonlinear solve ----------------------------------
 * One slot per kind: QSLPsetcb<kind> replaces it (f NULL empties it),
 * QSLPgetcb<kind> reads it back.  object is handed back unchanged.  They may
 * be called from any thread of the library (the jobs of a multistart run
 * concurrently).  Unless said otherwise a nonzero return stops the solve
 * (stop status QNDA_STOP_USER). */
/* slpstart, slpend, iterstart, iterend, construct, destroy, slpnode,
 * cascadestart, cascadeend. */
typedef int (*QSLPcb_event)(QSLPprob prob, void *object);
/* itervar (return ignored), cascadevar, cascadevarfail: a column. */
typedef int (*QSLPcb_column)(QSLPprob prob, void *object, int col);
/* A coefficient's formula could not be evaluated (row -1: the objective;
 * col QSLP_CONSTANTCOL's value for a coefficient without a column). */
typedef int (*QSLPcb_coefevalerror)(QSLPprob prob, void *object, int row, int col);
/* A determined column's new value, within [lb, ub]: *newvalue starts at
 * value and may be changed. */
typedef int (*QSLPcb_drcol)(QSLPprob prob, void *object, int col, double value, double *newvalue,
                            double lb, double ub);
/* The formula function cbformula(arg): writes its value to *value. */
typedef int (*QSLPcb_formula)(QSLPprob prob, void *object, double arg, double *value);
/* A multistart job starts or ends: job is the object given with the job.
 * *status starts at 0; at the start nonzero skips the job, at the end
 * nonzero discards its result. */
typedef int (*QSLPcb_msjob)(QSLPprob prob, void *object, void *job, const char *description,
                            int *status);
/* The job whose result was kept (return ignored). */
typedef int (*QSLPcb_mswinner)(QSLPprob prob, void *object, void *job, const char *description);

QNDA_API int QSLPsetcbcascadeend(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbcascadeend(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbcascadestart(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbcascadestart(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbcascadevar(QSLPprob prob, QSLPcb_column f, void *object);
QNDA_API int QSLPgetcbcascadevar(QSLPprob prob, QSLPcb_column *f, void **object);
QNDA_API int QSLPsetcbcascadevarfail(QSLPprob prob, QSLPcb_column f, void *object);
QNDA_API int QSLPgetcbcascadevarfail(QSLPprob prob, QSLPcb_column *f, void **object);
QNDA_API int QSLPsetcbcoefevalerror(QSLPprob prob, QSLPcb_coefevalerror f, void *object);
QNDA_API int QSLPgetcbcoefevalerror(QSLPprob prob, QSLPcb_coefevalerror *f, void **object);
QNDA_API int QSLPsetcbconstruct(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbconstruct(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbdestroy(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbdestroy(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbdrcol(QSLPprob prob, QSLPcb_drcol f, void *object);
QNDA_API int QSLPgetcbdrcol(QSLPprob prob, QSLPcb_drcol *f, void **object);
QNDA_API int QSLPsetcbformula(QSLPprob prob, QSLPcb_formula f, void *object);
QNDA_API int QSLPgetcbformula(QSLPprob prob, QSLPcb_formula *f, void **object);
QNDA_API int QSLPsetcbiterend(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbiterend(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbiterstart(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbiterstart(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbitervar(QSLPprob prob, QSLPcb_column f, void *object);
QNDA_API int QSLPgetcbitervar(QSLPprob prob, QSLPcb_column *f, void **object);
QNDA_API int QSLPsetcbmsjobend(QSLPprob prob, QSLPcb_msjob f, void *object);
QNDA_API int QSLPgetcbmsjobend(QSLPprob prob, QSLPcb_msjob *f, void **object);
QNDA_API int QSLPsetcbmsjobstart(QSLPprob prob, QSLPcb_msjob f, void *object);
QNDA_API int QSLPgetcbmsjobstart(QSLPprob prob, QSLPcb_msjob *f, void **object);
QNDA_API int QSLPsetcbmswinner(QSLPprob prob, QSLPcb_mswinner f, void *object);
QNDA_API int QSLPgetcbmswinner(QSLPprob prob, QSLPcb_mswinner *f, void **object);
QNDA_API int QSLPsetcbslpend(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbslpend(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbslpnode(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbslpnode(QSLPprob prob, QSLPcb_event *f, void **object);
QNDA_API int QSLPsetcbslpstart(QSLPprob prob, QSLPcb_event f, void *object);
QNDA_API int QSLPgetcbslpstart(QSLPprob prob, QSLPcb_event *f, void **object);

/* --- Multistart ----------------------------------------------------------
 * Jobs added before QSLPnlpoptimize make it a multistart: every job solves
 * the problem from its own starting point with its own controls, on a pool
 * of QSLP_MSTHREADS threads (SLP jobs concurrently; interior-point jobs and
 * problems with user functions one at a time), and the best feasible result
 * is the problem's.  The jobs stay until QSLPmsclear. */
/* One job: start values of ninitial columns (colind NULL: the first
 * ninitial), the integer and double controls to set; job is handed to the
 * multistart callbacks. */
QNDA_API int QSLPmsaddjob(QSLPprob prob, const char *description, int ninitial, const int *colind,
                          const double *initial, int nintcontrols, const int *intcontrolid,
                          const int *intcontrolval, int ndblcontrols, const int *dblcontrolid,
                          const double *dblcontrolval, void *job);
/* count jobs of a preset (QSLP_MSPRESET_*). */
QNDA_API int QSLPmsaddpreset(QSLPprob prob, const char *description, int preset, int count,
                             void *job);
/* A preset whose jobs all start from the given values and controls. */
QNDA_API int QSLPmsaddcustompreset(QSLPprob prob, const char *description, int preset, int count,
                                   int ninitial, const int *colind, const double *initial,
                                   int nintcontrols, const int *intcontrolid,
                                   const int *intcontrolval, int ndblcontrols,
                                   const int *dblcontrolid, const double *dblcontrolval, void *job);
QNDA_API int QSLPmsclear(QSLPprob prob);
/* The result of job k (in the order added) of the last multistart: its
 * QSLP_NLPSTATUS_* (QSLP_NLPSTATUS_UNSTARTED when skipped), objective and
 * largest violation; any output may be NULL. */
QNDA_API int QSLPmsgetjobresult(QSLPprob prob, int k, int *status, double *objval,
                                double *maxviolation);

/* --- Mixed-integer nonlinear problems ------------------------------------
 * Integer and binary columns with nonlinear rows or objective.  Solved by
 * nonlinear branch-and-bound over the interior-point engine (Bonmin):
 * global for convex problems, a good local solution otherwise.
 * QSLPnlpoptimize calls it when the problem has integer columns. */
QNDA_API int QSLPglobal(QSLPprob prob);

/* --- Model files --------------------------------------------------------
 * MPS files with the nonlinear coefficients and the names of the user
 * functions in two sections of their own (NLCOEFS, USERFUNCS; see
 * docs/nonlinear.md).  The main problem is read or written as QNDAreadprob
 * and QNDAwriteprob do (same flags); the LP format cannot hold nonlinear
 * coefficients.  Reading replaces the nonlinear coefficients; user functions
 * named in the file and not yet defined are defined without an entry point. */
QNDA_API int QSLPreadprob(QSLPprob prob, const char *filename, const char *flags);
QNDA_API int QSLPwriteprob(QSLPprob prob, const char *filename, const char *flags);

/* --- SLP variables, rows, tolerance sets, cascading, checks -------------
 * Per-column and per-row settings of the SLP algorithm.  Every column is an
 * SLP variable with default settings until QSLPaddvars / QSLPchgvar give it
 * others; QSLPdelvars puts it back to the defaults.  The interior-point
 * engine takes none of them except the start values; soft and inactive rows
 * make QSLP_ALG_AUTO choose SLP and are refused by QSLP_ALG_IPOPT. */

/* Step bound kinds (QSLPchgdeltatype, QSLPgetvar) */
#define QSLP_DELTA_ADAPTIVE 0 /* trust region; the value is the first bound (0: automatic) */
#define QSLP_DELTA_FIXED 1    /* the step bound stays at the value */
#define QSLP_DELTA_FREE 2     /* no step bound on the column */
/* Row status (QSLPchgrowstatus) */
#define QSLP_ROW_HARD 0     /* must hold; violations cost penalty * weight per unit */
#define QSLP_ROW_SOFT 1     /* may be violated at a cost of weight per unit */
#define QSLP_ROW_INACTIVE 2 /* left out of the nonlinear solve */
/* Tolerance sets: per set QSLP_TOLSET_SIZE values, entry k given when bit k
 * of its status is set (otherwise the control applies). */
#define QSLP_TOLSET_SIZE 2
#define QSLP_TOL_ATOL_VAR 0 /* absolute tolerance on a column's step */
#define QSLP_TOL_RTOL_VAR 1 /* relative tolerance on a column's step */
/* Information of QSLPgetrowinfo (double unless said) */
#define QSLP_ROWINFO_VALUE 1     /* activity at the current point */
#define QSLP_ROWINFO_VIOLATION 2 /* violation at the current point */
#define QSLP_ROWINFO_STATUS 3    /* int: QSLP_ROW_* */
#define QSLP_ROWINFO_WEIGHT 4
#define QSLP_ROWINFO_NLCOEFS 5 /* int: nonlinear coefficients of the row */
#define QSLP_ROWINFO_DUAL 6    /* multiplier of the last solution */
/* Information of QSLPgetcolinfo */
#define QSLP_COLINFO_VALUE 1   /* value at the current point */
#define QSLP_COLINFO_DELTA 2   /* step bound the next SLP solve starts from */
#define QSLP_COLINFO_DETROW 3  /* int: determining row, -1 none */
#define QSLP_COLINFO_NLCOEFS 4 /* int: nonlinear coefficients in the column */
#define QSLP_COLINFO_REDUCEDCOST 5
#define QSLP_COLINFO_NONLINEAR 6 /* int: 1 when the column is in a nonlinear term */
/* Residuals of QSLPvalidatekkt */
#define QSLP_KKT_STATIONARITY 0    /* largest entry of the projected Lagrangian gradient */
#define QSLP_KKT_FEASIBILITY 1     /* largest row or bound violation */
#define QSLP_KKT_COMPLEMENTARITY 2 /* largest multiplier times distance to its side */
#define QSLP_KKT_DUALSIGN 3        /* largest multiplier of the wrong sign */
#define QSLP_KKT_COUNT 4

/* Settings of nvars columns; any array may be NULL (defaults: no determining
 * row (-1), sequence 0 (automatic), tolerance set 0 (none), no start value,
 * step bound 0 (automatic)).  QSLPloadvars first removes every setting. */
QNDA_API int QSLPaddvars(QSLPprob prob, int nvars, const int *colindex, const int *determiningrow,
                         const int *seqnum, const int *tolindex, const double *initvalue,
                         const double *stepbound);
QNDA_API int QSLPloadvars(QSLPprob prob, int nvars, const int *colindex, const int *determiningrow,
                          const int *seqnum, const int *tolindex, const double *initvalue,
                          const double *stepbound);
/* Changes the settings given (NULL: kept) of one column. */
QNDA_API int QSLPchgvar(QSLPprob prob, int col, const int *determiningrow, const int *seqnum,
                        const int *tolindex, const int *deltatype, const double *initvalue,
                        const double *stepbound);
/* initvalue: the start value (the column's start, 0 when none is set). */
QNDA_API int QSLPgetvar(QSLPprob prob, int col, int *determiningrow, int *seqnum, int *tolindex,
                        int *deltatype, double *initvalue, double *stepbound);
QNDA_API int QSLPdelvars(QSLPprob prob, int nvars, const int *colindex);
/* Step bound kinds (QSLP_DELTA_*) and values of nvars columns. */
QNDA_API int QSLPchgdeltatype(QSLPprob prob, int nvars, const int *colindex, const int *deltatype,
                              const double *values);

/* Tolerance sets are numbered from 1; tols holds QSLP_TOLSET_SIZE values per
 * set, a negative value leaving that entry to the control. */
QNDA_API int QSLPaddtolsets(QSLPprob prob, int ntolsets, const double *tols);
/* Replaces every set; columns that referred to a set now gone refer to none. */
QNDA_API int QSLPloadtolsets(QSLPprob prob, int ntolsets, const double *tols);
/* status NULL: every entry of tols; else the entries whose bit is set. */
QNDA_API int QSLPchgtolset(QSLPprob prob, int tolset, const int *status, const double *tols);
QNDA_API int QSLPgettolset(QSLPprob prob, int tolset, int *status, double *tols);
/* Deletes sets; later sets move down, columns follow their set. */
QNDA_API int QSLPdeltolsets(QSLPprob prob, int ntolsets, const int *tolsets);

QNDA_API int QSLPchgrowstatus(QSLPprob prob, int row, int status);
QNDA_API int QSLPgetrowstatus(QSLPprob prob, int row, int *status);
/* A hard row's error vectors cost penalty * weight, a soft row's weight
 * (default 1, >= 0). */
QNDA_API int QSLPchgrowwt(QSLPprob prob, int row, const double *weight);
QNDA_API int QSLPgetrowwt(QSLPprob prob, int row, double *weight);
/* Row or column information (QSLP_ROWINFO_*, QSLP_COLINFO_*) into *info, an
 * int or a double as the type says. */
QNDA_API int QSLPgetrowinfo(QSLPprob prob, int row, int infotype, void *info);
QNDA_API int QSLPgetcolinfo(QSLPprob prob, int col, int infotype, void *info);

/* Derivative factors: the SLP step problems take the derivative of row
 * rowindex along column colindex times the factor (a damping of columns
 * whose steps oscillate); rows, feasibility and convergence use the exact
 * functions.  QSLPloaddfs removes every factor first; factor 1 removes one. */
QNDA_API int QSLPadddfs(QSLPprob prob, int ndfs, const int *colindex, const int *rowindex,
                        const double *value);
QNDA_API int QSLPloaddfs(QSLPprob prob, int ndfs, const int *colindex, const int *rowindex,
                         const double *value);
QNDA_API int QSLPchgdf(QSLPprob prob, int col, int row, const double *value);
/* 1 when the pair has no factor. */
QNDA_API int QSLPgetdf(QSLPprob prob, int col, int row, double *value);

/* Cascading: a column with a determining row (an equality in which it
 * appears) is recomputed from that row, the other columns held, by Newton
 * steps (at most its limit, default 20).  QSLPcascadeorder orders the
 * determined columns so that each follows those its row uses (the sequence
 * numbers given first); a cycle fails.  QSLPcascade recomputes them, in that
 * order, at the start point (QSLPsetinitialvalues, QSLPsetcurrentiv). */
QNDA_API int QSLPcascadeorder(QSLPprob prob);
QNDA_API int QSLPcascade(QSLPprob prob);
QNDA_API int QSLPchgcascadenlimit(QSLPprob prob, int col, int limit);

/* The current point is the start point.  QSLPconstruct evaluates the
 * problem there (values and derivatives, which QSLPgetrowinfo reads);
 * QSLPupdatelinearization evaluates it again at the start point as it now
 * is; QSLPunconstruct drops it.  A change of coefficients needs a new
 * QSLPconstruct. */
QNDA_API int QSLPconstruct(QSLPprob prob);
QNDA_API int QSLPunconstruct(QSLPprob prob);
QNDA_API int QSLPupdatelinearization(QSLPprob prob);

/* Checks the model: formulas defined at the current point, settings that
 * refer to existing rows, columns and tolerance sets, determining rows that
 * are equalities holding their column, an acyclic cascade.  Each fault is a
 * warning message; *nfaults counts them (NULL: fails on the first). */
QNDA_API int QSLPvalidate(QSLPprob prob, int *nfaults);
/* Row violations at x (one value per column): their sum, the sum scaled by
 * 1 + |activity|, and the objective there. */
QNDA_API int QSLPvalidatevector(QSLPprob prob, const double *x, double *suminf,
                                double *sumscaledinf, double *objval);
/* One row at the current point: its activity, its violation, and the
 * largest difference between its exact derivatives and central differences
 * (a check of user functions' partials). */
QNDA_API int QSLPvalidaterow(QSLPprob prob, int row, double *value, double *violation,
                             double *deriverror);
/* KKT residuals (QSLP_KKT_COUNT values) at x with multipliers duals (rows,
 * sensitivities as QSLPgetslpsol gives them); x NULL: the last solution,
 * duals NULL: the last solution's.  Bound multipliers are those that fit
 * best, so the stationarity residual is of the projected gradient. */
QNDA_API int QSLPvalidatekkt(QSLPprob prob, const double *x, const double *duals,
                             double *residuals);

/* The next SLP solves start from the penalty the last one ended with, and
 * never raise it; *penalty gets it (may be NULL). */
QNDA_API int QSLPfixpenalties(QSLPprob prob, double *penalty);
/* Forgets the last solution, the construction, fixed penalties and
 * statistics; settings and coefficients stay. */
QNDA_API int QSLPreinitialize(QSLPprob prob);
/* Simplifies coefficients: zero factors and formulas that are constant (no
 * columns, or only fixed columns) are folded into the main problem's
 * matrix, right-hand sides and objective.  *nremoved (may be NULL) counts the
 * coefficients gone. */
QNDA_API int QSLPpresolve(QSLPprob prob, int *nremoved);
/* Step bounds from the columns' sizes: a column's first step bound becomes
 * a tenth of its bound range when both bounds are finite, else
 * max(1, |start value|); columns with a step bound of their own keep it. */
QNDA_API int QSLPscaling(QSLPprob prob);

/* The last solution to a file: a header line, then "C,name,value,reduced
 * cost" per column and "R,name,activity,slack,dual" per row. */
QNDA_API int QSLPfilesol(QSLPprob prob, const char *filename);
/* Memory the nonlinear problem holds, as messages of the main problem. */
QNDA_API int QSLPprintmemory(QSLPprob prob);
/* Evaluation counts of the last solve (functions, derivatives, user
 * function calls) as messages. */
QNDA_API int QSLPprintevalinfo(QSLPprob prob);
/* A message of msgtype (1 information, 3 warning, 4 error) through the main
 * problem's handlers. */
QNDA_API int QSLPprintmsg(QSLPprob prob, int msgtype, const char *text);
/* Type of the last message of the nonlinear problem (0: none yet). */
QNDA_API int QSLPgetmessagetype(QSLPprob prob, int *msgtype);
/* Seconds since the current (or last) nonlinear solve started; 0 before. */
QNDA_API int QSLPgetdtime(QSLPprob prob, double *seconds);
/* Chooses a prefix no row or column name starts with (for names the
 * nonlinear layer makes) and gives it. */
QNDA_API int QSLPsetuniqueprefix(QSLPprob prob, char *prefix, int maxbytes, int *nbytes);
/* Tokens of every coefficient's formula with their end tokens (the room
 * QSLPgetcoefs needs). */
QNDA_API int QSLPtokencount(QSLPprob prob, int *ntokens);

#ifdef __cplusplus
}
#endif

#endif /* QSLP_H */
