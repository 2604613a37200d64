#include "inputs.h"

#include "contest.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

#include <linux/magic.h>
#include <sys/vfs.h>

namespace fs = std::filesystem;

namespace {

constexpr int textSize = 20'000'000;

/// Names and permissions of all entries.
QByteArray listing(const std::string &folder)
{
    return output({"sh", "-c", R"(cd "$0" && find . -printf "%p %m\n" | LC_ALL=C sort)", folder});
}

} // namespace

Storage::Storage(const std::string &where)
{
    std::string pattern = where + "/bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
        fail("cannot make a folder in " + where);
    m_root = pattern;
    struct statfs info;
    const bool isMemory = ::statfs(m_root.c_str(), &info) == 0 && info.f_type == TMPFS_MAGIC;
    m_kind = isMemory ? "memory" : "disk";
}

std::string Storage::tree(const Shape &shape) const
{
    const std::string root = path(shape.description);
    if (fs::exists(root))
        return root;
    std::mt19937 random(1);
    std::string content(std::size_t(shape.largest), ' ');
    std::generate(content.begin(), content.end(), [&] { return char('!' + random() % 90); });
    std::uniform_int_distribution<int> size(shape.smallest, shape.largest);
    for (int folder = 0; folder < std::max(shape.folders, 1); ++folder) {
        const std::string parent = shape.folders == 0 ? root : root + "/Folder " + std::to_string(folder);
        fs::create_directories(parent);
        for (int file = 0; file < shape.filesPerFolder; ++file)
            std::ofstream(parent + (file % 2 ? "/Page " : "/image ") + std::to_string(file) + ".dat")
                .write(content.data(), size(random));
    }
    return root;
}

void requireSameTree(const std::string &a, const std::string &b)
{
    output({"diff", "-r", a, b});
    if (listing(a) != listing(b))
        fail(b + " does not hold the entries of " + a);
}

QByteArray output(const std::vector<std::string> &command)
{
    std::string line = "exec"; // no shell stays in between
    for (const std::string &word : command)
        line += " '" + word + '\'';
    std::FILE *pipe = ::popen(line.c_str(), "re");
    QByteArray result;
    char block[64 * 1024];
    for (std::size_t got; pipe != nullptr && (got = std::fread(block, 1, sizeof block, pipe)) > 0;)
        result.append(block, int(got));
    if (pipe == nullptr || ::pclose(pipe) != 0)
        fail(line + " failed");
    return result;
}

QString sampleText(Letters letters, const QString &lineEnd)
{
    static constexpr const char16_t *words[] = {
        u"the",    u"folder",   u"of",    u"page",   u"\"quoted\"", u"it's", u"a",     u"document",
        u"and",    u"margin",   u"to",    u"letter", u"with",       u"in",   u"print", u"typesetting",
        u"“open”", u"‘single’", u"naïve", u"Größe",  u"„tief“",     u"–",    u"été",   u"—"};
    std::mt19937 random(2);
    // One word in forty is from the last eight of the table.
    std::uniform_int_distribution<unsigned> word(0, letters == Letters::Ascii ? 15 : 16 + 303);
    QString text;
    text.reserve(textSize + 100);
    while (text.size() < textSize) {
        const unsigned index = word(random);
        text += QString::fromUtf16(words[index < 24 ? index : index % 16]);
        text += random() % 12 == 0 ? lineEnd : QStringLiteral(" ");
    }
    return text;
}
