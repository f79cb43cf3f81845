#include "driver/report/run_results.h"

RunResults runResults;
