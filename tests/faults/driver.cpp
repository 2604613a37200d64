// Runs every file operation again and again, each time with another of its system calls failing, falling
// short, or being the last before the process is killed, and looks at what is left on the disk.

#include "plan.h"
#include "support/operations.h"
#include "support/tree.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>

using Words = QSet<QString>;

namespace fs = std::filesystem;

namespace {

constexpr unsigned kSecondsToHang = 20;
constexpr long kLeastFaults = 2000, kLeastKills = 200;

// Atomic: false means that nothing has changed. Unsure: true says nothing. Torn: stopped midway it leaves
// what was done so far. Twice: true also when the source could not be removed. Replaces: the destination is
// there at any time, and a killed process may leave a draft.
enum Trait { Plain = 0, Atomic = 1, Unsure = 2, Torn = 4, Twice = 8, Replaces = 16 };

struct Operation
{
    const char *before; // as Tree has it
    const char *command;
    int traits;
};

// "far" leads to another file system; "big" and "holes" are filled with as much as their names say. What is
// outside of the operation begins with "o". "@" makes a path longer than the kernel accepts.
constexpr Operation kOperations[] = {
    {"a b", "unlink a", Atomic},
    {"a", "unlink @a", Atomic},
    {"a/ a/x b", "rename! a b", Atomic | Torn},
    {"a b", "rename! a b", Atomic | Replaces},
    {"a->b b->o o", "rename! a b", Atomic},
    {"a", "rename! a ./a", Atomic},
    {"big", "rename big far/a", Atomic},
    {"big far/b", "rename! big far/b", Replaces},
    {"big", "mv big b", Atomic | Twice},
    {"big b", "mv! big b", Twice | Replaces},
    {"holes far/b", "mv! holes far/b", Twice | Replaces},
    {"a->o o", "mv a c", Atomic | Twice},
    {"a->o o", "mv! a o", Atomic},
    {"S/ S/a S/b/ S/b/c D/ D/x", "quick S D", Plain},
    {"S/ S/a S/b/ S/b/big", "quick S far/D", Plain},
    {"S/ S/a l->S", "quick S l/b", Atomic},
    {"S/ S/a S/b/ S/b/big S/l->../o S/f->../o/y o/ o/y D/ D/x D/z/", "move S D", Plain},
    {"S/ S/a S/b/ S/b/c S/b/.h", "move S far/D/d", Plain},
    {"P/ P/S/ P/S/a P/x", "move P/S P", Atomic},
    {"S/ S/a l->S", "move S l/b", Atomic},
    {"S/ S/a S/big S/holes S/b/ S/b/c S/l->../o S/f->../o/y o/ o/y", "copy S D", Plain},
    {"S/ S/a S/b/ l->S/b", "copy S l", Atomic},
    {"S/ S/a S/b/ S/b/c D/", "copyfiles S D", Unsure},
    {"S/ S/a S/b/ S/b/c S/l->../o S/f->../o/y o/ o/y", "delete S", Plain},
    {"S/ S/a S/b/ S/b/c", "delete @S", Plain},
    {"S/ S/a S/b/ S/b/c S/l->../o o/ o/y", "empty S", Plain},
    {"S/ S/a S/b/ S/b/c S/l->../o o/ o/y", "list S 3", Atomic},
    {"S/ S/a S/b/ S/b/c S/l->../o o/ o/y", "count S 4", Atomic},
    {"a", "writable a", Atomic},
    {"d/", "writable d/new", Atomic},
    {"big", "hash big", Atomic},
    {"big", "read big", Atomic},
    {"big", "readtext big", Atomic},
    {"b", "write b", Torn},
    {"b", "writetext b", Torn | Unsure},
    {"big t/", "tempcopy big", Atomic},
    {"t/", "tempfolder", Plain},
    {"t/", "tempobject", Unsure | Torn},
};

// What the driver must find fault with: a move that trusts its reads and writes.
constexpr Operation kBroken = {"big", "trustingmove big b", Plain};

// How far a run goes: a quick one where a file system lacks something, and where it lacks nothing; a whole
// one.
enum Depth { Transfers, Quick, Poor, Whole };

// The second and third: whether the calls after the struck one fail too, and whether they are made all the
// same.
constexpr struct
{
    int error;
    bool isLasting, isDone;
    Depth depth;
} kFaults[] = {
    {EIO, false, false, Quick},    {kShort, true, false, Transfers}, {EIO, false, true, Quick},
    {EIO, true, false, Poor},      {kKill, false, false, Poor},      {ETIMEDOUT, true, true, Whole},
    {ENOSPC, false, false, Whole}, {EMFILE, false, false, Whole},    {EACCES, false, false, Whole},
    {EINTR, false, false, Whole},  {kShort, false, false, Whole}};
constexpr unsigned kNoNewNames = ExclusiveRename | HardLinks;
constexpr unsigned kEnvironments[] = {0,
                                      KernelCopy,
                                      UnnamedFiles,
                                      UnnamedFiles | ExclusiveRename,
                                      UnnamedFiles | kNoNewNames,
                                      UnnamedFiles | kNoNewNames | ReplacingRename,
                                      HardLinks,
                                      HardLinks | ReplacingRename,
                                      ExclusiveRename,
                                      SyncOfAll | NewCalls,
                                      LinksToUnnamed,
                                      TypesInListings,
                                      FolderSync,
                                      Local,
                                      Local | FolderSync | SyncOfAll,
                                      Local | UnnamedFiles | kNoNewNames};

QString farFolder;
std::map<std::string_view, long> faults;
long kills = 0, runs = 0;

bool moveTrustingly()
{
    QFile source(QStringLiteral("big")), copy(QStringLiteral("b"));
    return source.open(QIODevice::ReadOnly) && copy.open(QIODevice::WriteOnly) &&
           copy.write(source.readAll()) >= 0 && source.remove();
}

/// A deletion that trusts what it has seen.
bool deleteTrustingly(const fs::path &folder) // NOLINT(misc-no-recursion): as deep as the trees here
{
    std::error_code isGone;
    for (const auto &entry : fs::directory_iterator(folder, isGone))
        entry.is_directory() && !entry.is_symlink() ? deleteTrustingly(entry)
                                                    : ::unlinkat(AT_FDCWD, entry.path().c_str(), 0) == 0;
    return ::unlinkat(AT_FDCWD, folder.c_str(), AT_REMOVEDIR) == 0;
}

long callsToSwap = 0;
fs::path swapped;

void swapAtCall(std::string_view, const char *)
{
    if (callsToSwap-- == 0)
        ::renameat2(AT_FDCWD, swapped.c_str(), AT_FDCWD, "link", RENAME_EXCHANGE);
}

/// Runs a command that removes "S" again and again. Each time somebody swaps a folder in it for a link that
/// leads outside, one call later. How often that cost something outside.
int lostToSwaps(const char *command)
{
    int lost = 0;
    long swaps = 0;
    for (const int depth : {0, 1, 2, 5}) {
        bool isSwapped = true;
        for (long at = 0; isSwapped; ++at, ++swaps) {
            const Tree tree(text("o/ o/a o/b/ o/b/c link->o"), text("/dev/shm"));
            swapped = "S";
            for (int i = 0; i < depth; ++i)
                swapped /= "b";
            fs::create_directories(swapped / "b");
            for (const char *name : {"a", "b/c"})
                std::ofstream(swapped / name) << name;
            callsToSwap = at;
            plan->hearsAll = true;
            plan->atCall = swapAtCall;
            command ? run(text(command)) : deleteTrustingly("S");
            plan->atCall = nullptr;
            isSwapped = callsToSwap < 0;
            lost += Tree::describe("o") != text("a b/ b/c");
        }
    }
    std::printf("%s: %ld swaps, outside %d times something is lost\n",
                command ? command : "a trusting deletion", swaps, lost);
    return lost;
}

/// The entries in the working folder and on the other file system. Names that change from run to run are made
/// equal.
Words wordsOnDisk()
{
    static const QRegularExpression uuid(QStringLiteral("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"));
    QString text = Tree::describe();
    const QStringList far = Tree::describe(farFolder.toStdString()).split(QLatin1Char(' '));
    for (const QString &word : far)
        text += word.isEmpty() ? QString() : QStringLiteral(" far/") + word;
    const QStringList words = text.replace(uuid, QStringLiteral("UUID")).split(QLatin1Char(' '));
    return Words(words.begin(), words.end());
}

Words contentsOf(const Words &words)
{
    Words contents;
    for (const QString &word : words) {
        const QChar mark = word.contains(QLatin1Char('=')) ? QLatin1Char('=') : QLatin1Char('/');
        if (!word.endsWith(QLatin1Char('/')) && !word.contains(QLatin1String("->")))
            contents.insert(word.section(mark, -1));
    }
    return contents;
}

void fill()
{
    for (const auto &entry : fs::recursive_directory_iterator(".")) {
        const std::string name = entry.path().filename();
        if (name == "big" || name == "holes")
            std::ofstream(entry.path()) << bigContent().toStdString();
        if (name == "holes")
            fs::resize_file(entry.path(), 400'000);
    }
}

struct Outcome
{
    Words after;
    bool answer, hasLeaked, isShared;
    int signal;
};

/// Whether some file has two names: a change in one place would change it in the other.
bool areShared()
{
    for (const auto &root : {std::string("."), farFolder.toStdString()})
        for (const auto &entry : fs::recursive_directory_iterator(root))
            if (entry.is_regular_file() && !entry.is_symlink() && entry.hard_link_count() > 1)
                return true;
    return false;
}

/// Runs the operation as the plan says, in a process of its own.
Outcome execute(const Operation &operation, Words *before = nullptr)
{
    for (const auto &entry : fs::directory_iterator(farFolder.toStdString()))
        fs::remove_all(entry);
    const QString words = QStringLiteral("far->%1 other ") + QString::fromLatin1(operation.before);
    const Tree tree(words.arg(farFolder), QStringLiteral("/dev/shm"));
    fill();
    if (before)
        *before = wordsOnDisk();
    QString command = QString::fromLatin1(operation.command);
    command.replace(QLatin1Char('@'), QStringLiteral("./").repeated(2100));
    qputenv("TMPDIR", (tree.path() + QStringLiteral("/t")).toUtf8());

    plan->calls = plan->struck = 0;
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(kSecondsToHang);
        const auto open = openDescriptors();
        plan->isArmed = true;
        const int answer = &operation == &kBroken ? moveTrustingly() : run(command);
        plan->isArmed = false;
        const int result = answer + (openDescriptors() != open ? 2 : 0);
#ifdef TESCORE_COVERAGE
        std::exit(result); // writes which lines ran
#else
        ::_exit(result);
#endif
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    plan->isArmed = false;
    const int told = WEXITSTATUS(status);
    return {wordsOnDisk(), (told & 1) != 0, (told & 2) != 0, areShared(),
            WIFSIGNALED(status) ? WTERMSIG(status) : 0};
}

bool hasDestination(const Operation &operation, const Words &words)
{
    const QString path = QString::fromLatin1(operation.command).section(QLatin1Char(' '), -1);
    return std::any_of(words.begin(), words.end(), [&](const QString &word) {
        return word == path || word.startsWith(path + QLatin1Char('='));
    });
}

bool hasChangedOutside(const Words &before, const Words &after)
{
    const Words gone = before - after;
    return std::any_of(gone.begin(), gone.end(),
                       [](const QString &word) { return word.startsWith(QLatin1Char('o')); });
}

/// Whether a temporary name is in use, which else only a poor file system needs.
bool hasDraft(const Operation &operation)
{
    return plan->lacking != 0 || (operation.traits & Replaces);
}

/// Whether the fault keeps a temporary name from being removed, and what was done from being undone.
std::pair<bool, bool> excuses(const Operation &operation)
{
    const bool cannotTidy = plan->kind == "unlink" && (plan->isLasting || hasDraft(operation));
    // An answer that does not prove that nothing was done forbids to undo: both names stay, and what is
    // aside.
    const bool isProof = plan->error == EACCES || plan->error == ENOSPC;
    const bool isAnswer = plan->kind == "unlink" || plan->kind == "link" || plan->kind == "rename";
    // Nor can what was replaced come back where it could have neither a second name nor another's.
    const bool keepsNothing = (plan->lacking & HardLinks) && (plan->lacking & ExclusiveRename);
    // Nor is there a way back into folders that no longer open.
    const bool cannotUndo = plan->kind == "stat" ||
                            ((plan->kind == "sync" || plan->kind == "open") && keepsNothing) ||
                            plan->isDone || (plan->kind == "open" && plan->isLasting) ||
                            (isAnswer && (!isProof || plan->isLasting));
    return {cannotTidy, cannotUndo};
}

bool keepsReplaced(const Operation &operation, const Words &before, const Outcome &now)
{
    const bool isAllThere = contentsOf(now.after).contains(contentsOf(before));
    if (!now.answer && plan->error != kKill && (plan->lacking & kNoNewNames) == 0 && !isAllThere)
        return false;
    // Where a rename replaces nothing, the old file leaves its name before the new one comes.
    return hasDestination(operation, now.after) || ((plan->lacking & ReplacingRename) && isAllThere);
}

/// What is wrong with an outcome, given that of a run without a fault; null when nothing is.
const char *violation(const Operation &operation, const Words &before, const Outcome &sound,
                      const Outcome &now)
{
    const bool isKilled = plan->error == kKill;
    if (now.signal != 0 && !(isKilled && now.signal == SIGKILL))
        return now.signal == SIGALRM ? "it hangs" : "it crashes, or gives what is not there";
    if (!contentsOf(now.after).contains(contentsOf(before) & contentsOf(sound.after)))
        return "content is lost";
    if (hasChangedOutside(before, now.after))
        return "something outside has changed";

    if ((operation.traits & Replaces) && !keepsReplaced(operation, before, now))
        return "what is replaced is gone";

    const auto [cannotTidy, cannotUndo] = excuses(operation);
    const bool isUntidy = cannotTidy || (isKilled && hasDraft(operation));
    // A link whose target may not be looked up is as good as dangling.
    const bool hidesLinks = plan->kind == "stat" && plan->error == EACCES && strstr(operation.before, "->");
    const bool isSure = !(operation.traits & Unsure) && !isUntidy && !hidesLinks;
    const Words expected = operation.traits & Twice ? sound.after + (now.after & before) : sound.after;
    if (!isUntidy && !cannotUndo && !(operation.traits & Torn) &&
        !(now.after - before - sound.after).isEmpty())
        return "something is left over or torn";
    if (isKilled)
        return nullptr;
    if (now.isShared && !cannotTidy && !cannotUndo)
        return "two names of one file are left";
    if (now.hasLeaked)
        return "a descriptor is left";
    if (now.answer && isSure && (!sound.answer || now.after != expected))
        return "true, but not complete";
    if (!now.answer && (operation.traits & Atomic) && !isUntidy && !cannotUndo && now.after != before)
        return "false, but something has changed";
    if (plan->error == kShort && (now.answer != sound.answer || now.after != sound.after))
        return "a short transfer is taken for the end";
    return nullptr;
}

/// Runs the operation as the plan says and judges the outcome; whether that is a violation.
bool judge(const Operation &operation, const Words &before, const Outcome &sound, bool isTold)
{
    const Outcome now = execute(operation);
    ++runs;
    if (plan->struck == 0)
        return false;
    (plan->error == kKill ? kills : faults[plan->kind]) += 1;
    const char *what = violation(operation, before, sound, now);
    if (what && isTold)
        std::printf("  [%s] %s: %s %ld, error %d, %d, lacking %u: %s\n", operation.before, operation.command,
                    plan->kind.data(), plan->at, plan->error, plan->isLasting, plan->lacking, what);
    return what != nullptr;
}

/// Runs the operation without a fault. The outcome must not depend on what the file system lacks.
Outcome soundOutcome(const Operation &operation, Words *before, int *violations)
{
    plan->kind = {};
    plan->error = 0;
    const unsigned lacking = std::exchange(plan->lacking, 0U);
    const Outcome full = execute(operation, before);
    plan->lacking = lacking;
    const Outcome sound = lacking == 0 ? full : execute(operation);
    const bool isSame = sound.answer == full.answer && sound.after == full.after && !sound.isShared;
    if (!isSame)
        std::printf("  [%s] %s: another outcome, lacking %u\n", operation.before, operation.command, lacking);
    *violations += !isSame + (violation(operation, *before, sound, sound) != nullptr);
    return sound;
}

/// Fails the first, the second, ... call of each kind until a run passes without a fault. Counts violations.
int sweep(const Operation &operation, Depth depth, bool isTold)
{
    Words before;
    int violations = 0;
    const Outcome sound = soundOutcome(operation, &before, &violations);
    std::set<std::string_view> unused;
    for (const auto &fault : kFaults) {
        if (fault.depth > depth)
            continue;
        plan->error = fault.error;
        plan->isLasting = fault.isLasting;
        plan->isDone = fault.isDone;
        for (const std::string_view kind : kKinds) {
            if (unused.count(kind) > 0 || (fault.isDone && !changesNames(kind)) ||
                (fault.error == kShort && !transfers(kind)))
                continue;
            plan->kind = kind;
            plan->at = 0;
            do {
                ++plan->at;
                violations += judge(operation, before, sound, isTold);
            } while (plan->struck > 0);
            if (plan->at == 1 && fault.error == EIO && !fault.isDone)
                unused.insert(kind);
        }
    }
    return violations;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QTemporaryDir far;
    farFolder = far.path();
    void *memory = ::mmap(nullptr, sizeof(Plan), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED || otherFileSystem().isEmpty())
        qFatal("THE FAULT DRIVER CANNOT RUN: it needs a temporary folder that is not on /dev/shm");
    plan = new (memory) Plan();

    if (sweep(kBroken, Whole, false) == 0 || lostToSwaps(nullptr) == 0)
        qFatal("THE FAULT DRIVER CANNOT RUN: it does not notice a broken operation");
    faults.clear();
    kills = runs = 0;
    int violations = lostToSwaps("delete S") + lostToSwaps("empty S") + lostToSwaps("move S D");
    const bool isQuick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    for (const unsigned lacking : kEnvironments) {
        plan->lacking = lacking;
        const Depth depth = isQuick ? (lacking ? Transfers : Quick) : (lacking ? Poor : Whole);
        for (const Operation &operation : kOperations)
            violations += sweep(operation, depth, true);
    }

    long injected = 0;
    for (const std::string_view kind : kKinds) {
        std::printf("%s %ld, ", kind.data(), faults[kind]);
        injected += faults[kind];
    }
    std::printf("in all\n%zu operations, %ld runs, %ld faults, %ld kill points, %d violations\n",
                std::size(kOperations), runs, injected, kills, violations);
    if (!isQuick && (faults.size() < std::size(kKinds) || injected < kLeastFaults || kills < kLeastKills))
        qFatal("THE FAULT DRIVER CANNOT RUN: too few calls pass through it");
    return violations == 0 ? 0 : 1;
}
