// The files a run may leave half-made: swap files and digit files still under their temporary
// names. Every such file is listed here before it is created and struck off after it is deleted
// or renamed, so every way out of the process can remove them: the plain and fatal stops through
// the console layer's exit cleanup, and SIGINT, SIGTERM and SIGHUP through a handler that only
// walks a fixed array and calls unlink, both safe inside a signal handler.
#pragma once

namespace zx {

// Lists path (a copy is kept) and returns its slot for LiveFileForget. The first call installs the
// signal handlers and the exit cleanup.
int LiveFileAdd(const char* path);
// Strikes off the slot's path once the file is gone or has its final name.
void LiveFileForget(int slot);
// Unlinks every listed path; safe in a signal handler and from any thread.
void LiveFilesRemoveAll();
// Paths listed now (tests).
int LiveFileCount();

// Bytes have gone to the slot's file (the test hook sees it; nothing else does).
void LiveFileWritten(int slot);

#if defined(ZX_TEST_HOOKS)
// Called with each path as it is listed (written false) and after each write to a listed digit
// file (written true), so tests can stop a run at a chosen point of its files.
using LiveFileHook = void (*)(const char* path, bool written);
void LiveFilesSetTestHook(LiveFileHook hook);
#endif

}  // namespace zx
