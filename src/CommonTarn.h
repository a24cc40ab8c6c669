// CommonTarn: the one header a host includes.
#pragma once

#include "CommonTarnExport.h"
#include "NH_Heap.h"
#include "frame/Frame.h"
#include "numeric/NumericHelpers.h"
#include "numeric/Randomizer.h"
#include "text/TextString.h"
