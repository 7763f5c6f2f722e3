// Undefines the macros state_list.h was read with, so that it can be read
// again with others.
#undef TARNWICK_VALUE
#undef TARNWICK_LABEL
#undef TARNWICK_TEXT
#undef TARNWICK_ATOMIC
#undef TARNWICK_WORKERS
#undef TARNWICK_ROWS
#undef TARNWICK_RANKING
#undef TARNWICK_SCRATCH
#undef TARNWICK_TABLE
