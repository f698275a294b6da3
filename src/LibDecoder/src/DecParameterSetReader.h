#pragma once

// The front door of the module: every public header.

#include "BitStreamReader.h"
#include "PictureParameterSet.h"
#include "ProfileTierLevel.h"
#include "ScalingList.h"
#include "ScalingListTables.h"
#include "ScanTables.h"
#include "SequenceParameterSet.h"
#include "ShortTermRefPicSet.h"
#include "TileGrid.h"
#include "VideoParameterSet.h"
