#pragma once
// The lines the SEG-Y readers address to their user ("SEG-Y 3D import",
// "Multiple instances of crossline ..."): standard output by default, as the
// readers have always printed them; an embedding program or the tool may
// take them instead. The reason of a failure also goes to the calling
// thread's last error (last_error.h), where the caller reads it.

#include "platform/api.h"

#include <functional>
#include <string>
#include <string_view>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

using OutputSink = std::function<void(std::string_view)>;

// One line, given without its line end; a sink gets it so. Safe from any thread.
void user_output(std::string_view line);

// Replaces the sink and answers the previous one; an empty sink restores
// standard output.
OutputSink set_output_sink(OutputSink sink);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
