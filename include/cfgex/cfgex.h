/// @file
/// Everything an application needs.
#pragma once

#include "cfgex/export.h"

#ifdef CFGEX_API  // not where the compiler's C++ is too old, which that header tells

#include "cfgex/cfg_BooleanArray.h"
#include "cfgex/cfg_InstanceArray.h"
#include "cfgex/cfg_IntegerArray.h"
#include "cfgex/cfg_ObjectArray.h"
#include "cfgex/cfg_Option.h"
#include "cfgex/cfg_StringArray.h"
#include "cfgex/cfg_UnsignedIntegerArray.h"
#include "cfgex/cfg_category.h"
#include "cfgex/cfg_configurationex.h"
#include "cfgex/cfg_exception.h"
#include "cfgex/cfg_instance.h"
#include "cfgex/cfg_object.h"
#include "cfgex/cvar.h"
#include "cfgex/version.h"

#endif
