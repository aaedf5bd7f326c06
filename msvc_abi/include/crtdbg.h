#pragma once

#include_next <crtdbg.h>

// Only the debug runtime has reports; GoogleTest names these in code that is never reached.
#define _CRTDBG_FILE_STDERR nullptr
#define _CrtSetReportFile(type, file) ((void)0)
