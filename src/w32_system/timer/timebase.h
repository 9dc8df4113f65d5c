// The start and end of the library's clock, called by the load entry.
#pragma once

void QvTimeBaseStart();
void QvTimeBaseEnd();
