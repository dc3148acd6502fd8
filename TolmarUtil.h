#pragma once
// TolmarUtil: one include for an embedding program.

// Foundation (TolmarUtilLow)
#include "foundation/HResultCheck.h"
#include "foundation/IMessageBox.h"
#include "foundation/IndexedSEGYHeader.h"
#include "foundation/Ma.h"
#include "foundation/MessageBoxLog.h"
#include "foundation/MessageBoxManager.h"
#include "foundation/SimpleStopwatch.h"
#include "foundation/SimpleTimer.h"
#include "foundation/Stopwatch.h"
#include "foundation/TempPath.h"
#include "foundation/box.h"
#include "foundation/byte_order.h"
#include "foundation/ibm_float.h"
#include "foundation/log.h"
#include "foundation/sample_decode.h"
#include "foundation/vec.h"
#include "platform/debug_stream.h"
#include "platform/last_error.h"
#include "platform/mapped_file.h"
#include "platform/text_encoding.h"

// SEG-Y files (TolmarUtil)
#include "segy/EBCDICconverter.h"
#include "segy/SEGYcube.h"
#include "segy/SEGYreader.h"
#include "segy/SEGYtrace.h"
#include "segy/SEGYwriter.h"
