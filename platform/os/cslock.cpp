#include "cfgex/cslock.h"

CSLock::CSLock() = default;

CSLock::~CSLock() = default;
