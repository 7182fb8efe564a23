// Every public header of the utility library.
#pragma once

#include "weftbase/AppLogger.h"
#include "weftbase/CodePageText.h"
#include "weftbase/DateTime.h"
#include "weftbase/DebugUtils.h"
#include "weftbase/DirUtils.h"
#include "weftbase/ExeUtils.h"
#include "weftbase/FileUtils.h"
#include "weftbase/InternetUtils.h"
#include "weftbase/LocaleUtils.h"
#include "weftbase/NumberTextConv.h"
#include "weftbase/RegistryUtils.h"
#include "weftbase/SmartHANDLE.h"
#include "weftbase/StringUtils.h"
#include "weftbase/SystemUtils.h"
#include "weftbase/TextArray.h"
#include "weftbase/VolumeUtils.h"
