// The module's actions at a fork; at_fork.cpp registers them. Windows has no forks.
#pragma once

// The lock of the list of destroyed locks is taken before a fork and released in both processes.
void LockFreeList();
void UnlockFreeList();

// The threads that have announced their end don't exist in the child.
void ForgetEndingThreads();
