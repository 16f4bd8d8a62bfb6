// xcb's XKB header, which names a structure member `explicit`: C++ reserves the word, so it is
// renamed while the header is read. Include this instead of <xcb/xkb.h>.
#pragma once

#include <xcb/xcb.h>

#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
