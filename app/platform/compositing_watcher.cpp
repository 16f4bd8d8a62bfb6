// The watcher's signal lives here, below every backend that emits it.
#include "app/platform/compositing_watcher.h"

#include "moc_compositing_watcher.cpp"
