#ifndef TESCORE_BENCHMARKS_INPUTS_H
#define TESCORE_BENCHMARKS_INPUTS_H

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <string>
#include <vector>

/// A tree of files that a benchmark works on.
struct Shape
{
    const char *description;
    int folders; // 0: the files stand in the root
    int filesPerFolder;
    int smallest; // bytes
    int largest;

    int runs = 0;         // of the operations on it; 0: as many as were asked for
    bool isScale = false; // one of those that differ in the number of files alone

    int files() const { return (folders == 0 ? 1 : folders) * filesPerFolder; }
};

constexpr Shape smallFiles = {"20,000 files of 1 to 3 KB in 100 folders", 100, 200, 1000, 3000};
constexpr Shape wideFolder = {"50,000 files in one folder", 0, 50'000, 0, 100};
constexpr Shape scaleShapes[] = {{"10,000 empty files in one folder", 0, 10'000, 0, 0, 0, true},
                                 {"100,000 empty files in one folder", 0, 100'000, 0, 0, 3, true},
                                 {"1,000,000 empty files in one folder", 0, 1'000'000, 0, 0, 1, true},
                                 {"1,000,000 empty files in 1,000 folders", 1000, 1000, 0, 0, 1, true}};
constexpr Shape largeFiles = {"20 files of 50 MB", 0, 20, 50'000'000, 50'000'000};

/// A folder of the benchmark's own on one file system; it goes with the object.
class Storage
{
public:
    explicit Storage(const std::string &where);
    ~Storage() { std::filesystem::remove_all(m_root); }
    Storage(const Storage &) = delete;

    /// "memory" or "disk".
    const std::string &kind() const { return m_kind; }
    std::string path(const std::string &name) const { return m_root + '/' + name; }
    /// A tree that stays as it is; made when it is asked for first.
    std::string tree(const Shape &shape) const;
    void remove(const Shape &shape) const { std::filesystem::remove_all(path(shape.description)); }

private:
    std::string m_root;
    std::string m_kind;
};

/// Ends the program unless both trees hold the same names, permissions and contents.
void requireSameTree(const std::string &a, const std::string &b);

/// Runs a program to its end and returns its output. Ends this program when it fails.
QByteArray output(const std::vector<std::string> &command);

/// About 20 million characters of English text with plain or typographic quotes and now and then an accent.
enum class Letters { Ascii, Typographic };
QString sampleText(Letters letters, const QString &lineEnd);

#endif
