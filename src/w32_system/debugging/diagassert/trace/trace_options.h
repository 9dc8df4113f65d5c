// The two option words.
#pragma once

unsigned int QvTraceOptions();
unsigned int QvFailifOptions();
