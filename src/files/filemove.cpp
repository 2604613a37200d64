#include "filemove_p.h"

#include "openfile_p.h"
#include "rename_p.h"

#include <base/exceptions_p.h>

namespace TesCoreFiles {

namespace {

/// A file that is about to be replaced, kept aside until it is certain that it may go.
class ReplacedFile
{
public:
    explicit ReplacedFile(At file)
        : m_file(file)
        , m_name(temporaryName())
        , m_aside{file.dirfd, m_name.constData()}
        ,
        // What is held is not freed on the disk, should its last name go there before the other has come.
        m_held(::openat(file.dirfd, file.name, O_PATH | O_NOFOLLOW | O_CLOEXEC))
    {
    }

    /// Gives the file a second name, where the file system can.
    Result keepAside()
    {
        const Result linked = link(m_file, m_aside);
        // The name is new: a request that was repeated found what the first one had done.
        const bool isDone = linked || linked.error() == EEXIST;
        m_way = isDone ? Way::SecondName : Way::None;
        return isDone || isCertainlyUndone(linked) ? Result() : linked;
    }

    /// Puts `other`, which stays valid, in its place: in one step wherever the file system can.
    Result replaceBy(At other)
    {
        if (m_way == Way::None) {
            const Result exchanged = exchange(other, m_file);
            if (exchanged) {
                m_way = Way::Exchange;
                m_aside = other;
            }
            if (exchanged || !isUnsupported(exchanged))
                return exchanged;
        }
        const Result renamed = rename(other, m_file);
        return renamed.error() == EEXIST ? replaceInTwoSteps(other) : renamed;
    }

    /// Gives `other` its name back, and puts the file back in its place.
    void restore(At other)
    {
        Result freed;
        if (m_way == Way::SecondName && link(m_file, other))
            freed = rename(m_aside, m_file);
        else if (m_way == Way::Exchange)
            freed = exchange(other, m_file);
        else if (m_way == Way::Aside && renameExclusively(m_file, other))
            freed = renameExclusively(m_aside, m_file);
        static_cast<void>(freed); // what cannot be put back stays aside
    }

    /// Whether it still has its name, as far as is seen here.
    bool isInPlace() const
    {
        struct stat own, now;
        return ::fstat(m_held.get(), &own) == 0 && linkStatus(m_file, &now) && FileId(own) == FileId(now);
    }

    void discard()
    {
        if (m_way != Way::None)
            static_cast<void>(unlink(m_aside));
    }

private:
    enum class Way { None, SecondName, Exchange, Aside };

    /// For file systems where a rename replaces nothing.
    Result replaceInTwoSteps(At other)
    {
        discard();
        const Result aside = renameExclusively(m_file, m_aside);
        if (!aside)
            return aside;
        m_way = Way::Aside;
        const Result renamed = renameExclusively(other, m_file);
        if (!renamed && renameExclusively(m_aside, m_file))
            m_way = Way::None;
        return renamed;
    }

    const At m_file;
    const QByteArray m_name;
    At m_aside;
    const Descriptor m_held;
    Way m_way = Way::None;
};

/// Replaces `file` by `other` durably. After a failure both are as they were, unless it is unknown what was
/// done: then nothing more is.
Result replaceDurably(ReplacedFile &file, At other, At place, const Durability &durability)
{
    Result result = file.keepAside();
    if (result)
        result = durability.sync(place.dirfd);
    if (!result) {
        file.discard();
        return result;
    }
    result = file.replaceBy(other);
    if (!result) {
        // ENOENT is also what a repeated request comes to whose first was done.
        const bool isUndone = isCertainlyUndone(result) && result.error() != ENOENT;
        if (isUndone || (!durability.isPerEntry() && file.isInPlace()))
            file.discard();
        return result;
    }
    result = durability.sync(place.dirfd);
    if (!result)
        file.restore(other);
    return result;
}

} // namespace

Result FileStage::stage(At from, const struct stat &info, bool mayLink, At to, StagedFile *staged)
{
    if (mayLink && m_canLink && S_ISREG(info.st_mode) && info.st_nlink == 1) {
        const Result linked = link(from, to);
        if (linked) {
            *staged = {true, {Stamp(info), Stamp(info)}};
            if (!m_durability.isPerEntry())
                return linked;
            const Descriptor file = openFile(to, O_RDONLY | O_NOFOLLOW);
            const Result synced = file.isOpen() ? syncFile(file.get()) : file.result();
            if (!synced)
                takeBack(to, *staged);
            return synced;
        }
        if (linked.error() == EEXIST || !isCertainlyUndone(linked))
            return linked;
        // Where the user's own file cannot have a second name, no other will.
        m_canLink = linked.error() == EMLINK || (linked.error() == EPERM && info.st_uid != ::geteuid());
    }
    return stageCopy(from, S_ISREG(info.st_mode), to, staged);
}

Result FileStage::stageCopy(At from, bool isListed, At to, StagedFile *staged)
{
    staged->isLinked = false;
    return isListed ? m_copier.copyListed(from, to, &staged->stamps)
                    : m_copier.copy(from, to, &staged->stamps);
}

Result FileStage::separate(At staged)
{
    struct stat info;
    const Result found = linkStatus(staged, &info);
    if (!found || info.st_nlink == 1)
        return found;
    Result separated(ENOMEM);
    orFailure([&] { return separated = m_copier.replace(staged, staged), true; });
    return separated;
}

Removal removeSource(At from, const StagedFile &staged, At to)
{
    struct stat now;
    if (const Result found = linkStatus(from, &now); !found)
        return found.error() == ENOENT ? Removal::Done : Removal::Unknown;
    const Stamp &seen = staged.stamps.original;
    const bool isUnchanged =
        staged.isLinked
            ? seen.id() == FileId(now)
            : seen.matches(now) && (!seen.isYoung() || S_ISLNK(now.st_mode) || haveSameContent(from, to));
    if (!isUnchanged)
        return Removal::Refused;
    const Result removed = unlink(from);
    if (removed || removed.error() == ENOENT)
        return Removal::Done;
    return isCertainlyUndone(removed) ? Removal::Refused : Removal::Unknown;
}

void takeBack(At to, const StagedFile &staged)
{
    struct stat now;
    if (!linkStatus(to, &now))
        return;
    const Stamp &copy = staged.stamps.copy;
    if (staged.isLinked ? copy.id() == FileId(now) : copy.matches(now))
        static_cast<void>(unlink(to));
}

Result moveFile(At from, At to, Existing existing, IfSourceStays ifSourceStays)
{
    struct stat own;
    if (const Result found = linkStatus(from, &own); !found)
        return found;
    const bool isRemovable = mayRemove(from, own);
    if (!isRemovable && ifSourceStays == IfSourceStays::Fails)
        return Result(EACCES);
    const Durability durability(to.dirfd); // before the first change
    if (!durability.result())
        return durability.result();

    const bool isReplacing = existing == Existing::Replace;
    const QByteArray temporary = temporaryName();
    const At place = isReplacing ? At{to.dirfd, temporary.constData()} : to;
    FileStage stage(durability);
    ReplacedFile replaced(to);
    StagedFile staged;
    if (const Result done = stage.stage(from, own, isRemovable, place, &staged); !done)
        return done;
    // A link gives its content and goes itself.
    if (S_ISLNK(own.st_mode))
        staged.stamps.original = Stamp(own);

    Result result = isReplacing ? replaceDurably(replaced, place, to, durability) : durability.sync(to.dirfd);
    if (!result) {
        takeBack(place, staged);
        return result;
    }
    switch (removeSource(from, staged, to)) {
    case Removal::Done:
        break;
    case Removal::Unknown:
        static_cast<void>(stage.separate(to)); // should both names be there
        result = Result(EIO);
        break;
    case Removal::Refused:
        result = ifSourceStays == IfSourceStays::Fails ? Result(ESTALE) : stage.separate(to);
        if (result)
            result = durability.sync(to.dirfd);
        if (!result) {
            if (isReplacing)
                replaced.restore(place);
            takeBack(place, staged);
            return result;
        }
        break;
    }
    if (isReplacing && result)
        replaced.discard();
    return result;
}

Result renameOver(At from, At to)
{
    const Durability durability(to.dirfd);
    if (!durability.result())
        return durability.result();
    ReplacedFile replaced(to);
    const Result result = replaceDurably(replaced, from, to, durability);
    if (result)
        replaced.discard();
    return result;
}

} // namespace TesCoreFiles
