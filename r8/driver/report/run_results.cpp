#include "r8/driver/report/run_results.h"

RunResults runResults;
