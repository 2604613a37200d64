#include "treewalk_p.h"

namespace TesCoreFiles {

namespace {

// Links that lead to folders with further links can make a small tree endless in practice (thirty folders
// with two links to the next make a thousand million paths). No real tree comes near this number.
constexpr int kMaxNestedLinks = 100000;

} // namespace

Result TreeWalk::open(At root, Links links)
{
    const Result opened = m_stack.open(root, links);
    return opened ? list() : opened;
}

/// Lists the folder in which the stack stands.
Result TreeWalk::list()
{
    if (m_levels.size() == m_depth)
        m_levels.emplace_back();
    Level &level = m_levels[m_depth];
    if (const Result listed = level.listing.read(dirfd(), m_order, m_keep); !listed)
        return listed;
    m_passedOver += level.listing.passedOver();
    m_isIncomplete = m_isIncomplete || !level.listing.isComplete();
    if (m_flags != (QDir::Name | QDir::IgnoreCase))
        level.listing.sortAs(m_flags, dirfd());
    level.next = 0;
    level.isLink = m_depth > 0 && m_entry.isLink;
    m_linksInside += level.isLink;
    ++m_depth;
    return Result();
}

bool TreeWalk::next()
{
    if (m_failed)
        return false;
    Level *level = &m_levels[m_depth - 1];
    m_atFolderEnd = level->next == level->listing.size();
    if (m_atFolderEnd) {
        if (m_depth == 1)
            return false;
        m_linksInside -= level->isLink;
        --m_depth;
        --level;
        m_failed = !m_stack.leave();
        m_entry = level->listing.at(level->next - 1);
        return !m_failed;
    }
    m_entry = level->listing.at(level->next++);
    return true;
}

Result TreeWalk::enter()
{
    if (m_entry.isLink && m_linksInside > 0 && ++m_nestedLinks > kMaxNestedLinks)
        return Result(ELOOP);
    const Result entered = m_stack.enter(name(), m_entry.isLink ? Links::Follow : Links::NoFollow);
    if (!entered)
        return entered;
    const Result listed = list();
    if (!listed)
        m_failed = !m_stack.leave();
    return listed;
}

} // namespace TesCoreFiles
