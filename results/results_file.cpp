#include "results/results_file.h"

// Reading and writing arrive with the results-file work; until then the
// table stays empty.
int AccessResultsFile(int /*op*/)
{
    return 0;
}
