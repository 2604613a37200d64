#include <TesCore/TESCoreUtil.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace TESCoreUtil {

namespace {

using Position = QStringList::size_type; // int in Qt 5, qsizetype since Qt 6

/// The lower-case forms of a list in one piece of memory, instead of one string for each.
class LowerCaseForms
{
public:
    struct Form
    {
        uint64_t head; // the first four code units, zeros after the end: decides most comparisons
        size_t begin;
        size_t size;
        Position position; // in the list
    };

    explicit LowerCaseForms(const QStringList &list)
    {
        m_forms.reserve(static_cast<size_t>(list.size()));
        Position position = 0;
        for (const QString &text : list)
            add(text, position++);
    }

    /// The forms in order; of those that are the same only the last in the list.
    const std::vector<Form> &sorted()
    {
        std::sort(m_forms.begin(), m_forms.end(), [this](const Form &a, const Form &b) {
            if (a.head != b.head)
                return a.head < b.head;
            const int order = text(a).compare(text(b));
            return order != 0 ? order < 0 : a.position > b.position;
        });
        const auto same = [this](const Form &a, const Form &b) {
            return a.head == b.head && text(a) == text(b);
        };
        m_forms.erase(std::unique(m_forms.begin(), m_forms.end(), same), m_forms.end());
        return m_forms;
    }

private:
    std::u16string_view text(const Form &form) const { return {m_units.data() + form.begin, form.size}; }

    void add(const QString &text, Position position)
    {
        const size_t begin = m_units.size();
        if (!addAscii(text)) {
            m_units.resize(begin);
            m_units += text.toLower().toStdU16String();
        }
        uint64_t head = 0;
        for (size_t i = begin; i < begin + 4; ++i)
            head = head << 16 | (i < m_units.size() ? m_units[i] : 0);
        m_forms.push_back({head, begin, m_units.size() - begin, position});
    }

    bool addAscii(const QString &text)
    {
        unsigned all = 0;
        for (QChar c : text) {
            const char16_t unit = c.unicode();
            all |= unit;
            m_units.push_back(unit >= 'A' && unit <= 'Z' ? char16_t(unit + ('a' - 'A')) : unit);
        }
        return all < 0x80;
    }

    std::u16string m_units;
    std::vector<Form> m_forms;
};

} // namespace

QStringList SortCaseInsensitive(const QStringList &list)
{
    LowerCaseForms forms(list);
    QStringList result;
    result.reserve(list.size());
    for (const auto &form : forms.sorted())
        result.append(list.at(form.position));
    return result;
}

} // namespace TESCoreUtil
