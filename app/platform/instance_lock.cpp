// The lock's signal lives here, below every backend that emits it.
#include "app/platform/instance_lock.h"

#include "moc_instance_lock.cpp"
