#include "line_ends.h"

#include <cstdio>

#include <fcntl.h>
#include <io.h>

void keepLineEndsOfErrorStream() { (void)_setmode(_fileno(stderr), _O_BINARY); }
