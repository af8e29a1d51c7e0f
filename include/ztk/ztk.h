// Everything the library offers. Each header can also be included alone.
#pragma once

#include "ztk/buffer.h"
#include "ztk/com.h"
#include "ztk/logging.h"
#include "ztk/memory.h"
#include "ztk/messages.h"
#include "ztk/platform.h"
#include "ztk/sockets.h"
#include "ztk/strings.h"
#include "ztk/sync.h"
#include "ztk/threads.h"
#include "ztk/xml.h"
