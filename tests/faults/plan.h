#ifndef TESCORE_TESTS_FAULTS_PLAN_H
#define TESCORE_TESTS_FAULTS_PLAN_H

#include <atomic>
#include <string_view>

/// What a file system at hand may be unable to do, or a filter of system calls may refuse.
enum Feature {
    UnnamedFiles = 1,
    ExclusiveRename = 2,
    HardLinks = 4,
    KernelCopy = 8,
    SyncOfAll = 16,
    NewCalls = 32,
    LinksToUnnamed = 64,
    TypesInListings = 128,
    Syncs = 256, // calls succeed, and do nothing
    FolderSync = 512,
    ReplacingRename = 1024,
    Local = 2048 // it says that it is in user space
};

// Beside the error numbers: a struck call transfers less than it was asked to, or kills the process.
constexpr int kShort = -1;
constexpr int kKill = -2;

/// Which system calls of this program and of all it loads fail: they pass through interpose.cpp first. In
/// memory that a child process shares. Nothing fails while it is null.
struct Plan
{
    std::atomic<bool> isArmed;
    std::string_view kind;
    int error;
    bool isLasting; // the calls after the struck one fail too
    bool isDone;    // what makes or removes a name does so, and is told to have failed
    unsigned lacking;
    long at;
    std::atomic<long> calls, struck;
    // Where it is given, no call fails: it hears of each one that changes something, or of all, before and
    // after.
    void (*atCall)(std::string_view kind, const char *when);
    bool hearsAll;
};

constexpr std::string_view kKinds[] = {"open",  "read", "write",    "list",   "copy",    "stat",
                                       "mkdir", "link", "rename",   "unlink", "reflink", "sync",
                                       "chmod", "seek", "readlink", "close"};

inline bool changesNames(std::string_view kind)
{
    return kind == "link" || kind == "rename" || kind == "unlink" || kind == "mkdir";
}

inline bool transfers(std::string_view kind)
{
    return kind == "read" || kind == "write" || kind == "copy" || kind == "list";
}

inline Plan *plan = nullptr;

#endif
