#pragma once
// TolmarUtil: one include for an embedding program.

// Foundation (TolmarUtilLow)
#include "foundation/IndexedSEGYHeader.h"
#include "foundation/Ma.h"
#include "foundation/box.h"
#include "foundation/byte_order.h"
#include "foundation/ibm_float.h"
#include "foundation/sample_decode.h"
#include "foundation/vec.h"
#include "platform/debug_stream.h"
#include "platform/mapped_file.h"

// SEG-Y files (TolmarUtil)
#include "segy/EBCDICconverter.h"
#include "segy/SEGYcube.h"
#include "segy/SEGYreader.h"
#include "segy/SEGYtrace.h"
#include "segy/SEGYwriter.h"
