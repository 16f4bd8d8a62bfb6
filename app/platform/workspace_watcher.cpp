// The watcher's signal lives here, below every backend that emits it.
#include "app/platform/workspace_watcher.h"

#include "moc_workspace_watcher.cpp"
