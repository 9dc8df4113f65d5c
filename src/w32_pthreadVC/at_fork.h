// What the module's sources do at a fork; at_fork.cpp registers it. Nothing to do on Windows.
#pragma once

// The list of destroyed locks is taken before a fork and given back on both sides.
void LockFreeList();
void UnlockFreeList();

// The threads that said that they end are not in the child.
void ForgetEndingThreads();
