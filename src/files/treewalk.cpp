#include "treewalk_p.h"

namespace TesCoreFiles {

namespace {

// Links that lead to folders with further links can make a small tree endless in practice (thirty folders
// with two links to the next make a thousand million paths). No real tree comes near this number.
constexpr int kMostNestedLinks = 100000;

} // namespace

bool TreeWalk::open(const Place &place, Links links)
{
    if (!m_chain.open(place, links))
        return false;
    return list();
}

/// Lists the folder in which the chain stands.
bool TreeWalk::list()
{
    if (m_levels.size() == m_depth)
        m_levels.emplace_back();
    Level &level = m_levels[m_depth];
    if (!level.listing.read(m_chain.fd(), m_order))
        return false;
    m_isIncomplete = m_isIncomplete || !level.listing.isComplete();
    if (m_flags != (QDir::Name | QDir::IgnoreCase))
        level.listing.sortAs(m_flags, m_chain.fd());
    level.next = 0;
    level.isLink = m_depth > 0 && m_entry.isLink;
    m_linksInside += level.isLink;
    ++m_depth;
    return true;
}

bool TreeWalk::next()
{
    if (m_failed)
        return false;
    Level &level = m_levels[m_depth - 1];
    if (level.next == level.listing.size())
        return m_depth > 1 && leaveFolder();
    m_entry = level.listing.at(level.next++);
    m_name = level.listing.nameOf(m_entry);
    m_atFolderEnd = false;
    return true;
}

bool TreeWalk::enter()
{
    if (m_entry.isLink && m_linksInside > 0 && ++m_nestedLinks > kMostNestedLinks) {
        errno = ELOOP;
        return false;
    }
    if (!m_chain.enter(m_name, m_entry.isLink ? Links::Follow : Links::Refuse))
        return false;
    if (list())
        return true;
    const int reason = errno;
    m_failed = !m_chain.leave();
    errno = reason;
    return false;
}

bool TreeWalk::leaveFolder()
{
    m_leftName = m_chain.name();
    m_linksInside -= m_levels[--m_depth].isLink;
    m_atFolderEnd = true;
    m_name = m_leftName.constData();
    m_failed = !m_chain.leave();
    return !m_failed;
}

} // namespace TesCoreFiles
