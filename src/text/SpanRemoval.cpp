#include <TesCore/TESCoreUtil.h>

#include "charsearch_p.h"

#include <QStringView>
#include <QVarLengthArray>

#include <algorithm>
#include <vector>

namespace TESCoreUtil {

using namespace TesCoreText;

namespace {

/// Finds a mark by reading each character of a text once (the Knuth-Morris-Pratt automaton). Its state is the
/// length of the longest beginning of the mark that the text read so far ends with; the mark is found when
/// that is all of it.
class MarkFinder
{
public:
    explicit MarkFinder(QStringView mark) : m_mark(mark), m_shorter(size() + 1)
    {
        m_shorter[0] = 0;
        m_shorter[1] = 0;
        for (Size state = 1; state < size(); ++state)
            m_shorter[state + 1] = next(m_shorter[state], mark[state]);
    }

    Size size() const { return static_cast<Size>(m_mark.size()); }
    QChar at(Size index) const { return m_mark[index]; }
    QStringView mark() const { return m_mark; }

    /// The next shorter beginning of the mark that a text in `state` ends with.
    Size shorter(Size state) const { return m_shorter[state]; }

    Size next(Size state, QChar c) const
    {
        while (state == size() || m_mark[state] != c) {
            if (state == 0)
                return 0;
            state = m_shorter[state];
        }
        return state + 1;
    }

    Size stateAfter(QStringView text) const
    {
        Size state = 0;
        for (QChar c : text)
            state = next(state, c);
        return state;
    }

    /// Reads `text` from `begin` on, in `state`. The position behind the mark, or -1 when the text ends
    /// before.
    Size find(QStringView text, Size begin, Size state) const
    {
        const Size end = static_cast<Size>(text.size());
        while (state < size()) {
            if (state == 0)
                begin = indexOf(m_mark[0], text, begin);
            if (begin == end)
                return -1;
            state = state == 0 ? 1 : next(state, text[begin]);
            ++begin;
        }
        return begin;
    }

private:
    const QStringView m_mark;
    QVarLengthArray<Size, 32> m_shorter;
};

/// The two marks and how they meet: a closing mark may begin within an opening one.
struct Marks
{
    Marks(QStringView openingMark, QStringView closingMark) : opening(openingMark), closing(closingMark)
    {
        for (Size end = 1; end < opening.size() && spanInOpening == 0; ++end) {
            closingState = closing.next(closingState, opening.at(end));
            if (closingState == closing.size())
                spanInOpening = end + 1;
        }
    }

    bool leaveTail() const { return spanInOpening > 0 && spanInOpening < opening.size(); }

    const MarkFinder opening;
    const MarkFinder closing;
    Size closingState = 0; // of the search for the closing mark at the end of the opening one
    Size spanInOpening =
        0; // the length of a span that ends with or within its opening mark; 0: it ends later
};

/// What is left of an opening mark when its span ends within it, and what it does to the text before it.
class Tail
{
public:
    Tail(const MarkFinder &opening, QStringView text) : m_text(text)
    {
        if (text.isEmpty())
            return;
        m_state = opening.stateAfter(text);
        // Where the tail stands in the mark, cut off by the mark's end or not, it continues what is before.
        m_continued.resize(static_cast<size_t>(opening.size()));
        const MarkFinder finder(text);
        Size state = 0;
        for (Size end = 1; end <= opening.size(); ++end) {
            state = finder.next(state, opening.at(end - 1));
            if (state == finder.size())
                continuedAt(end - state) = end - state;
        }
        for (; state > 0; state = finder.shorter(state))
            continuedAt(opening.size() - state) = opening.size() - state;
        for (Size before = 1; before < opening.size(); ++before) {
            if (continuedAt(before) == 0)
                continuedAt(before) = continuedAt(opening.shorter(before));
        }
    }

    QStringView text() const { return m_text; }
    Size size() const { return static_cast<Size>(m_text.size()); }

    /// The state after the tail alone.
    Size state() const { return m_state; }

    /// The longest beginning of an opening mark, of those that a text in `state` ends with, which the tail
    /// continues up to its own end or that of the mark; 0 when there is none.
    Size continuedFrom(Size state) const { return m_continued[static_cast<size_t>(state)]; }

private:
    Size &continuedAt(Size state) { return m_continued[static_cast<size_t>(state)]; }

    const QStringView m_text;
    Size m_state = 0;
    std::vector<Size> m_continued;
};

/// Removes all spans in one pass. At any time the text is what is kept so far, in place, then the tail of an
/// opening mark where spans leave one, then the rest of the old text. The search never goes back: a span that
/// is removed joins what is kept, whose state is known, to a tail or to text that was not read.
template <bool leavesTail>
class SpanRemover
{
public:
    explicit SpanRemover(const Marks &marks)
        : m_marks(marks)
        , m_tail(marks.opening, leavesTail ? marks.opening.mark().mid(marks.spanInOpening) : QStringView())
    {
    }

    bool removeFrom(QString *text)
    {
        QStringView view(*text);
        bool removed = false;
        Size state = 0;
        for (;;) {
            const Size openingEnd = m_marks.opening.find(view, m_rest, state);
            if (openingEnd < 0)
                break;
            const Size spanEnd = m_marks.spanInOpening > 0
                                     ? openingEnd
                                     : m_marks.closing.find(view, openingEnd, m_marks.closingState);
            if (spanEnd < 0)
                break;
            if (!removed) {
                m_data = text->data();
                view = QStringView(m_data, text->size());
                removed = true;
            }
            keep(m_tailSize + openingEnd - m_rest - m_marks.opening.size());
            m_tailSize = m_tail.size();
            m_rest = spanEnd;
            state = leavesTail ? stateAfterTail() : stateOfKept();
        }
        if (!removed)
            return false;
        keep(m_tailSize + text->size() - m_rest);
        text->truncate(m_kept);
        return true;
    }

private:
    /// Keeps `count` more characters, of the tail and then of the rest, or gives up the last ones when
    /// negative.
    void keep(Size count)
    {
        const Size before = m_kept;
        m_kept += count;
        if (count > 0) {
            const Size ofTail = leavesTail ? std::min(count, m_tailSize) : 0;
            QChar *end = std::copy_n(m_tail.text().data(), ofTail, m_data + before);
            if (end != m_data + m_rest)
                std::copy_n(m_data + m_rest, count - ofTail, end);
        }
        if (leavesTail)
            noteStates(before);
    }

    /// Notes the states after the characters kept from `begin` on.
    void noteStates(Size begin)
    {
        m_states.resize(static_cast<size_t>(m_kept));
        Size state = begin > 0 && begin < m_kept ? m_states[static_cast<size_t>(begin) - 1] : 0;
        for (Size i = begin; i < m_kept; ++i) {
            state = m_marks.opening.next(state, m_data[i]);
            m_states[static_cast<size_t>(i)] = state;
        }
    }

    Size stateOfKept() const
    {
        if (leavesTail)
            return m_kept > 0 ? m_states.back() : 0;
        // A span was at least as long as its opening mark: reading that much again is cheap enough.
        const Size count = std::min(m_kept, m_marks.opening.size() - 1);
        return m_marks.opening.stateAfter(QStringView(m_data + m_kept - count, count));
    }

    /// The state after what is kept and the tail. An opening mark that ends in the tail is removed on the
    /// way: the tail follows again, and what it had after the mark goes back to the rest.
    Size stateAfterTail()
    {
        for (;;) {
            const Size before = m_tail.continuedFrom(stateOfKept());
            if (before == 0)
                return m_tail.state();
            const Size after = before + m_tail.size() - m_marks.opening.size();
            if (after < 0)
                return before + m_tail.size();
            keep(-before);
            m_rest -= after;
            std::copy_n(m_tail.text().data() + m_tail.size() - after, after, m_data + m_rest);
        }
    }

    const Marks &m_marks;
    const Tail m_tail;
    QChar *m_data = nullptr;
    Size m_kept = 0;
    Size m_tailSize = 0; // of the tail that follows now: none before the first removal
    Size m_rest = 0;
    std::vector<Size> m_states; // after each character kept; only with tails
};

bool removeSpans(QString *text, QStringView opening, QStringView closing)
{
    const Marks marks(opening, closing);
    return marks.leaveTail() ? SpanRemover<true>(marks).removeFrom(text)
                             : SpanRemover<false>(marks).removeFrom(text);
}

} // namespace

bool Remove(QString *text, const QString &opening, const QString &closing)
{
    if (!text || opening.isEmpty() || closing.isEmpty())
        return false;
    // The marks must stay as they are while the text changes.
    if (&opening == text || &closing == text)
        return removeSpans(text, QString(opening), QString(closing));
    return removeSpans(text, opening, closing);
}

} // namespace TESCoreUtil
