#include "journal_p.h"

#include "directorystack_p.h"

#include <cstring>

namespace TesCoreFiles {

void Journal::add(Step step, const char *name, const StagedFile &staged)
{
    const std::size_t start = m_names.size();
    m_names.insert(m_names.end(), name, name + std::strlen(name) + 1);
    m_notes.push_back({step, start, staged});
}

void Journal::entered(const char *name, const struct stat &info)
{
    const bool isLink = S_ISLNK(info.st_mode);
    if (m_foldersBehindLink > 0 || isLink)
        ++m_foldersBehindLink;
    if (m_foldersBehindLink <= 1)
        add(isLink ? Step::Link : Step::Enter, name, {false, {Stamp(info), {}}});
}

void Journal::left()
{
    if (m_foldersBehindLink > 0)
        --m_foldersBehindLink;
    else
        add(Step::Leave, "", {});
}

StagedFile &Journal::staging(const char *name)
{
    if (m_foldersBehindLink > 0)
        return m_behindLink;
    add(Step::File, name, {});
    return m_notes.back().staged;
}

Result Journal::removeSources(At source, const FileId &sourceId, At target)
{
    DirectoryStack sources(Access::Fill), targets(Access::Fill);
    if (const Result opened = sources.open(source, Links::NoFollow); !opened)
        return opened;
    if (const Result opened = targets.open(target, Links::Follow); !opened)
        return opened;
    if (FileId(sources.rootStatus()) != sourceId)
        return Result(ESTALE);

    for (; m_removed < m_notes.size(); ++m_removed) {
        const Note &note = m_notes[m_removed];
        const At from{sources.dirfd(), nameOf(note)}, to{targets.dirfd(), nameOf(note)};
        Result done;
        if (note.step == Step::Enter) {
            done = sources.enter(from.name, Links::NoFollow);
            if (done && FileId(sources.status()) != note.staged.stamps.original.id())
                done = Result(ESTALE);
            if (done)
                done = targets.enter(to.name, Links::NoFollow);
        } else if (note.step == Step::Leave) {
            const QByteArray folder = sources.name();
            done = targets.leave();
            if (done)
                done = sources.leave();
            if (done)
                done = unlink({sources.dirfd(), folder.constData()}, AT_REMOVEDIR);
        } else {
            const Removal removal = removeSource(from, note.staged, to);
            m_removed += removal == Removal::Unknown; // its two names stay
            done = removal == Removal::Done ? Result() : Result(ESTALE);
        }
        if (!done)
            return done;
    }
    return unlink(source, AT_REMOVEDIR);
}

template <typename Action>
void Journal::forEachLinked(At target, std::size_t first, Action action) const
{
    DirectoryStack targets(Access::Fill);
    Result ok = targets.open(target, Links::Follow);
    for (std::size_t i = 0; ok && i < m_notes.size(); ++i) {
        const Note &note = m_notes[i];
        if (note.step == Step::Enter)
            ok = targets.enter(nameOf(note), Links::NoFollow);
        else if (note.step == Step::Leave)
            ok = targets.leave();
        else if (i >= first && note.staged.isLinked)
            action(At{targets.dirfd(), nameOf(note)}, note.staged);
    }
}

void Journal::takeBackLinks(At target) const
{
    forEachLinked(target, 0, takeBack);
}

void Journal::separateLinks(At target, FileStage &stage) const
{
    forEachLinked(target, m_removed, [&](At name, const StagedFile &staged) {
        // Better one file in its old place than one in two.
        if (!stage.separate(name))
            takeBack(name, staged);
    });
}

} // namespace TesCoreFiles
