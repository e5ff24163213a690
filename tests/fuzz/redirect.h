// Included ahead of every source of the fuzzed library: its files are kept in memory, whatever path it is given.
#pragma once

#include <cstdio>
#include <fcntl.h>

extern "C" std::FILE *sandbox_fopen(const char *path, const char *mode);
extern "C" int sandbox_open(const char *path, int flags);

namespace std
{
using ::sandbox_fopen;
}

#define fopen sandbox_fopen
#define open sandbox_open
