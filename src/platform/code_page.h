// Code-page conversion: MultiByteToWideChar, WideCharToMultiByte, CP_ACP, CP_UTF8.
//
// Callers pass flags 0 and neither a default character nor a place to note its use: that is all
// that the layer offers, see there for its pages and last errors.
#pragma once

#include "ztk/platform.h"

#if !defined(_WIN32)
#include "platform/posix/text/code_page.h"
#endif
