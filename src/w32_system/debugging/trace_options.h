// The trace options.
#pragma once

unsigned int QvTraceOptions();
