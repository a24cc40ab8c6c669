// CommonTarn: the one header a host includes.
#pragma once

#include "CommonTarnExport.h"
#include "NH_Heap.h"
#include "collections/ArrayBase.h"
#include "collections/ArrayInPlace.h"
#include "collections/CellSequence.h"
#include "collections/Collection.h"
#include "collections/CollectionElement.h"
#include "collections/DoubleList.h"
#include "collections/DoubleListOfPtr.h"
#include "collections/HashList.h"
#include "collections/RangeInt32.h"
#include "collections/StringItem.h"
#include "frame/Frame.h"
#include "numeric/NumericHelpers.h"
#include "numeric/Randomizer.h"
#include "text/TextString.h"
