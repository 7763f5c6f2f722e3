#pragma once

#define TARNWICK_VERSION "1.5.0.0"
#define TARNWICK_WEBSITE "https://tarnwick.example.org"
