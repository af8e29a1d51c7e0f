// Code-page conversion: MultiByteToWideChar, WideCharToMultiByte, CP_ACP, CP_UTF8.
#pragma once

#include "ztk/platform.h"

#if !defined(_WIN32)
#include "platform/posix/text/code_page.h"
#endif
