#ifndef TESCORE_TESCOREUTIL_H
#define TESCORE_TESCOREUTIL_H

/// \file TESCoreUtil.h
/// Files, folders, temporary paths, UUID text, and small operations on text.
///
/// \code
/// QString error;
/// if (!TESCoreUtil::WriteBinaryFile(picture, path, &error))
///     showMessage(error);
/// \endcode
///
/// Paths are absolute or relative to the working folder. A path that no entry can have (it holds a NUL
/// character, or the locale cannot encode it) is treated like that of a missing entry. Resources
/// (":/help.txt") and prefixes of QDir::searchPaths() mean what they mean to QFile and QDir; a resource is
/// only ever read, and so counts as the source of a copy, but not of a move of a folder. Where a function
/// takes `error`, it may be null; the text is written on the failures named and left as it was otherwise. It
/// is the description that Qt's file classes give (`QIODevice::errorString()`).
///
/// Everything here is reentrant and keeps no state. The file functions block for as long as the file system
/// does, and they do not guard against other processes that change the same files meanwhile, except where
/// they say so. Nothing throws: a function for which the memory does not suffice fails.

#include <TesCore/TesCoreGlobal.h>

#include <QByteArray>
#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QPair>
#include <QRegExp>
#include <QString>
#include <QStringList>

namespace TESCoreUtil {

/// \name UUID text
/// \{

/// A new random UUID (RFC 4122, version 4) as 36 characters: lower-case hexadecimal digits, hyphens at
/// positions 8, 13, 18 and 23, no braces.
TESCORE_EXPORT QString CreateUUID();

/// \}
/// \anchor travels
/// \name Single files
///
/// | Operation | What travels |
/// |---|---|
/// | RenameFile(); all moves within a file system | the file itself |
/// | all moves to another file system, or of a file that can have no second name | everything (1) |
/// | the folders of a move, which are made anew | everything (1) |
/// | CopyDirectory(), CopyFiles(), CreateTemporaryCopy() | content, holes, permissions (2) |
///
/// (1) Content, holes, permissions, times of access and modification, user attributes (`user.*`), access
/// lists; owner and group where the caller may set them.
///
/// (2) Nothing that these would not grant: where the original has an access list, its group and others get
/// what every entry of the list has; the folders of a copy less the umask.
///
/// What the target cannot hold is no failure. Other names of the same file (hard links), other attributes and
/// flags do not travel. A folder that is being filled grants its owner everything meanwhile.
///
/// **A move waits for the disk.** Its sources go when everything is under its new name and synced (`syncfs`;
/// on FUSE and network file systems each file and folder by itself). After a power cut a file is under its
/// old name or its new one, or both: then they may be two names of one file. A process that is killed may
/// leave the same, and a hidden file `.UUID` beside a destination that it was replacing. Within a file system
/// RenameFile() and MoveDirectoryQuick() are renames, as safe as it makes them. Where renames reach the disk
/// by halves, so that a power cut could leave neither name, they move files instead: by a second name on
/// ext2, minix and ext4 without a journal, by a copy on FAT, which is renamed all the same when the disk has
/// no room for one.
///
/// A file that changed while it was moved stays, and so does what was put in its place; changes through a
/// shared mapping (mmap) cannot be seen.
/// \{

/// Removes the file `path`. True when nothing is there afterwards, also when nothing was. A link is removed
/// as a link; one whose target is missing counts as nothing and stays. A folder is refused with an `error`.
TESCORE_EXPORT bool DeleteFile(const QString &path, QString *error = nullptr);

/// Renames the file or folder `source`. An existing `destination` is replaced only with `overwrite`, and
/// never when it is a folder or a link into nothing. Refused, with nothing changed, when replacing it would
/// destroy the source (both name the same entry, or `source` is a link that leads to `destination`), when a
/// folder would move into itself, and when it is known that `source` cannot be removed. Within a file system
/// this is rename(2), and a file that replaces another is on the disk before it does. Across file systems a
/// file is moved as by MoveFile(), and a folder is refused. False leaves both where they were. See \ref
/// travels.
TESCORE_EXPORT bool RenameFile(const QString &source, const QString &destination, bool overwrite = false);

/// Gives the regular file `source`, links followed, the name `destination`, and removes `source` once that is
/// on the disk. Within a file system nothing is copied as long as the file has one name and its file system
/// has links; otherwise it is. An existing file at `destination` is replaced only with `overwrite`, in one
/// step, and never when that would destroy the source (see RenameFile()). True when `destination` is
/// complete, even if `source` could not be removed: then there are two independent files. False leaves both
/// as they were, unless the file system answered so that it is unknown whether `source` was removed (EIO of a
/// network): then both stay. See \ref travels.
TESCORE_EXPORT bool MoveFile(const QString &source, const QString &destination, bool overwrite = false);

/// Whether `path` can be read. A folder is judged by its permissions and never gives an `error`; a file is
/// opened and closed. FIFOs, sockets and devices are judged by their permissions without being opened, so
/// nothing blocks.
TESCORE_EXPORT bool IsReadable(const QString &path, QString *error = nullptr);

/// Whether `path` can be written. As IsReadable(); an existing file keeps its content. Where nothing exists,
/// a file is made exclusively and removed again; on most file systems it never has a name. A link whose
/// target is missing is judged by the place that it leads to, where nothing is left either.
TESCORE_EXPORT bool IsWritable(const QString &path, QString *error = nullptr);

/// \}
/// \name Free names
/// \{

/// `path` itself while nothing exists there, else the first free name of a sequence that grows from the name
/// last tried. Nothing is created or reserved. An empty `separator` stands for "_".
///
///     Report.txt taken                     => /folder/Report_1.txt
///     Report.txt and Report_1.txt taken    => /folder/Report_1_2.txt
///     archive.tar.gz taken                 => /folder/archive.tar_1.gz
///     Chapter taken                        => /folder/Chapter_1.
///     .profile taken                       => /folder/_1.profile
///
/// A free `path` is returned unchanged; any other result is absolute. A link whose target is missing does not
/// count as taken, nor does a name too long for any file (255 bytes), with which a sequence ends at last. On
/// a file system that ignores case a name that differs in case only is taken. Another process may take the
/// path before it is used: create the file exclusively (QIODevice::NewOnly) where that matters.
TESCORE_EXPORT QString GetUniqueFileName(const QString &path, QString separator);

/// The same with the separator "_".
TESCORE_EXPORT QString GetUniqueFileName(const QString &path);

/// As GetUniqueFileName(), with a blank, and counting on from the name given.
///
///     Notes.txt and Notes 1.txt taken      => /folder/Notes 2.txt
///     Chapter taken                        => /folder/Chapter 1.
TESCORE_EXPORT QString GetUniqueSequentialFileName(const QString &path);

/// \}
/// \name Temporary paths
/// QCoreApplication must exist: its name is part of the paths. See also TESTempFolder.
/// \{

/// The application's temporary root: the system's temporary folder, "/", the application name. Creates
/// nothing. QDir::tempPath() is empty while TMPDIR names a folder that is missing: the functions below create
/// nothing then, and their paths begin with "/" and the application name.
TESCORE_EXPORT QString GetTessarineTempPath();

/// A path below the temporary root where nothing exists, its last part a fresh UUID. With `create` the folder
/// is made exclusively for this user (mode 0700), missing parents likewise. Nothing is created below a root
/// with which others could tamper: one that belongs to somebody who is neither this user nor root, or to
/// which others (all, a group, or somebody whom an access control list names) may write without the sticky
/// bit. A failed creation is not reported; the path is returned all the same. A caller checks that the folder
/// is there before using it, and does not create it itself: what others made of the root stays unknown.
TESCORE_EXPORT QString GetNewTempFolderPath(bool create = false);

/// A path below the temporary root where nothing exists: a fresh UUID and `suffix`, which gets a leading "."
/// when it has none. An empty suffix stays empty. The folder that is to hold the file is created as by
/// GetNewTempFolderPath(); the file is not. The path is also returned where the root cannot be trusted:
/// others could then put a file or a link of their own in its place. A caller whose content others must
/// neither see nor change takes a folder from GetNewTempFolderPath(), checks that it is there, and creates
/// the file in it.
TESCORE_EXPORT QString GetNewTempFilePath(QString suffix = QString());

/// Copies the file `path` to a fresh name in the system's temporary folder: a UUID, ".", the suffix of
/// `path`. The path of the copy, or a null string when `path` is missing, is not a regular file or could not
/// be copied. The copy has the permissions of the original; that of a resource is read-only.
TESCORE_EXPORT QString CreateTemporaryCopy(const QString &path);

/// \}
/// \name Whole files
/// There is no size limit but that of the result type and the memory; with Qt 5 the type holds files below
/// 2 GiB, and texts below 2^30 code units. While static objects are destroyed, when Qt's codecs are gone,
/// UTF-8 stands for every other. Only regular files are read, and only these and character devices (a
/// terminal, /dev/null) written; writing waits until a terminal has taken everything. FIFOs, sockets and
/// other devices are refused, so that opening never blocks.
/// \{

/// Replaces the content of the file `path` by `text`, encoded by the QTextCodec named `codec` (null, or a
/// name that is not known: UTF-8 and the locale's codec respectively), without a byte-order mark. Line
/// endings are written as they stand. True when the file could be opened; a failure after that is not
/// detected. Where the result must be sure, encode the text and call WriteBinaryFile().
TESCORE_EXPORT bool WriteUnicodeTextFile(const QString &text, const QString &path, QString *error = nullptr,
                                         const char *codec = nullptr);

/// The text of the file `path`, decoded by the QTextCodec named `codec` (as above). A byte-order mark
/// (Unicode, section 23.8) at the start selects the matching Unicode codec instead and is not part of the
/// text. Bytes that do not decode become U+FFFD, an incomplete last character included. With
/// `convertLineEndings` the text passes through ConvertLineEndings(). A null string and an `error` when the
/// file cannot be opened or read to its end, or does not fit the result; an empty string for an empty file.
TESCORE_EXPORT QString ReadUnicodeTextFile(const QString &path, QString *error = nullptr,
                                           const char *codec = nullptr, bool convertLineEndings = false);

/// The bytes of the file `path`; a null array and an `error` when it cannot be opened or read to its end, or
/// does not fit the result; an empty array for an empty file.
TESCORE_EXPORT QByteArray ReadBinaryFile(const QString &path, QString *error = nullptr);

/// Replaces the content of the file `path`, which is created if missing, by `data`. True when every byte was
/// handed to the file system; otherwise the file holds what could be written, and `error` is the description
/// of the failed open or "Could not write all data to file" (translated in the context "QObject").
TESCORE_EXPORT bool WriteBinaryFile(const QByteArray &data, const QString &path, QString *error = nullptr);

/// `text` with every "\r\n", and then every "\r" that remains, made "\n". Text without "\r" is returned as it
/// is, without a copy.
TESCORE_EXPORT QString ConvertLineEndings(const QString &text);

/// The SHA-1 digest (RFC 3174) of the file's content, 20 raw bytes; an empty array when it cannot be opened
/// or read to its end. Memory use does not depend on the file's size.
TESCORE_EXPORT QByteArray calcHashSum(const QString &fileName);

/// \}
/// \name Folder trees
/// These functions see what QDir lists without hidden and system entries: names that begin with ".", FIFOs,
/// sockets, devices and links whose target is missing are never moved, copied, counted, listed or deleted.
/// Entries are visited by name, ignoring case. File names may hold any bytes and trees may be of any depth; a
/// small, bounded number of descriptors is used.
///
/// Links to folders are entered by the copies, the moves and the list, but never by a deletion. A walk does
/// not enter a folder that it is already inside, or in which it makes its copies; CopyDirectory() and the
/// moves report false there. A walk that meets more than 100,000 links behind links ends in the same way.
///
/// Moving or copying a folder onto itself or into its own tree is refused before the first change, however
/// the two paths are written (links, "..", trailing slashes, mounts). A folder of unknown content, because it
/// may not be read, makes copies, moves and deletions false. A link to a device, FIFO or socket is not
/// copied: it stops CopyDirectory() and MoveDirectory(), and is left out by the others. What travels with a
/// file, and when a source goes: see \ref travels.
/// \{

/// Moves the files of `source` by renaming them, merging into `destination`, which is created if missing.
/// Nothing is overwritten; a folder whose name is taken in `destination` is skipped with all that is in it.
/// Goes on after a failure; true when every step succeeded. The folders of `source` stay. Across file systems
/// the files of a folder are copied, made durable together and then removed; a copy whose source stays is
/// taken back. False when either path is empty.
TESCORE_EXPORT bool MoveDirectoryQuick(const QString &source, const QString &destination);

/// The same as MoveDirectoryCopy().
TESCORE_EXPORT bool MoveDirectory(const QString &source, const QString &destination);

/// Replaces the visible content of `destination` by that of `source`. The folders are made anew; each file
/// gets a second name in `destination`, or a copy where it cannot have one; when everything is on the disk,
/// the old names go. True when all of it succeeded. What changed in `source` or appeared there meanwhile
/// stays, with the result false; so do hidden entries and the folders that hold them, and what follows the
/// first entry that cannot be removed. What is in both places after a failure are two independent files, or
/// one that is only in `source`. False, with nothing changed, when either path is empty, when `source` is no
/// folder, and when `destination` is a link or a folder that holds `source`.
TESCORE_EXPORT bool MoveDirectoryCopy(const QString &source, const QString &destination);

/// Copies the content of `source` into `destination`, which is created if missing. Stops at the first
/// failure, such as a name that is taken in `destination`, and leaves what was copied. Files appear under
/// their names only when complete. A source that is missing or not a folder counts as empty; so does a path
/// that no entry can have.
TESCORE_EXPORT bool CopyDirectory(const QDir &source, const QDir &destination);

/// Copies the content of `source` into `destination`, going on after failures; nothing is overwritten.
/// `destination` itself is created with its first sub-folder, not before: files that come earlier are not
/// copied when it is missing. Links to folders in `destination` are followed. Does nothing when `destination`
/// is empty.
TESCORE_EXPORT void CopyFiles(const QString &source, const QString &destination);

/// Deletes the folder `path` with everything visible in it. Links are removed as links, also `path` itself;
/// what is behind them is never touched, even when somebody swaps folders for links meanwhile. Stops at the
/// first entry that cannot be removed. True when the folder is gone, or never was (as for an empty path).
/// Hidden entries stay and make the result false; so does a `path` that is a file.
TESCORE_EXPORT bool DeleteFolderAndFiles(const QString &path);

/// Deletes everything visible in the folder `path`, as DeleteFolderAndFiles() does, and keeps the folder.
/// True when nothing was left to delete, also for a missing folder. False, with nothing touched, for an empty
/// path and for a link, also one into nothing: what is behind a link is not deleted.
TESCORE_EXPORT bool DeleteFolderContents(const QString &path);

/// The absolute paths of all files below the folder `path`, depth-first, a sub-folder's files at its own
/// position among its siblings. Empty when `path` is not a folder. Bytes of a name that the locale cannot
/// decode become U+FFFD.
TESCORE_EXPORT QStringList RecursiveGetFiles(const QString &path);

/// The number of files and folders below the folder `path`; a link counts as one and is not entered. 0 when
/// `path` is not a folder.
TESCORE_EXPORT int getFileAndDirCount(const QString &path);

/// `QFileInfo::fileName()` of each record, in the same order.
TESCORE_EXPORT QStringList fileNames(const QList<QFileInfo> &infos);

/// \}
/// \name Text
/// Reentrant; keeps no state, but for the three patterns, which the first call compiles, safe from any
/// thread.
/// \{

/// Whether `text` holds both lower-case letters (Unicode category Ll) and other characters: "aB", "a1" and
/// "two words" do, "ab", "AB" and "A1" do not.
TESCORE_EXPORT bool IsMixedCase(const QString &text);

/// The characters of `text` from `start` up to, not including, `end`. Both may be any number:
///
///     1, 3   of abcdef => bc
///     4, 10  of abcdef => ef
///     2, 1   of abcdef => cdef     an end before the start counts as the end of the text
///     -2, 3  of abcdef => abc
///     10, 12 of abcdef => (null)
TESCORE_EXPORT QString Substring(int start, int end, const QString &text);

/// `text` with the first occurrence of `before`, case-sensitive, replaced by `after`. An empty `before`
/// occurs at the start. Without an occurrence `text` is returned as it is.
TESCORE_EXPORT QString ReplaceFirst(const QString &before, const QString &after, const QString &text);

/// Removes every span from an `opening` mark through the next `closing` mark from `text`, both
/// case-sensitive. After each removal the search starts again at the beginning of the text, so a mark counts
/// too when it forms only because what stood between its parts was removed. The search for the closing mark
/// starts at the second character of the opening mark. True when something was removed. False, with `text` as
/// it was, when nothing was, when `text` is null, and when a mark is empty.
///
///     "<", ">"      1<2>3<4>5 => 135
///     "<", ">"      <<1>2>    => 2>
///     "'", "'"      x'y'z     => xz
///     "<!--", "-->" a<!-->b   => ab    the marks may overlap
///     "ab", "x"     aabxbcx   => (empty)
///
/// Takes the time of one search through the text for each of the two marks, however many spans there are. In
/// the worst case, an `opening` that repeats itself ("aaaa"), it is one search for each of its characters.
TESCORE_EXPORT bool Remove(QString *text, const QString &opening, const QString &closing);

/// `path` percent-encoded (RFC 3986, section 2.1): ASCII letters, digits and the characters "-._~/#" stay,
/// every other byte of its UTF-8 form becomes "%" and two upper-case hexadecimal digits.
TESCORE_EXPORT QString URLEncodePath(const QString &path);

/// `path` with every "%" and the two hexadecimal digits after it replaced by the byte that they name, and all
/// bytes read as UTF-8. It is QUrl::fromPercentEncoding(), also for a "%" without two digits after it and for
/// bytes that are not UTF-8.
TESCORE_EXPORT QString URLDecodePath(const QString &path);

/// `value` rounded to one decimal, halves away from zero: the float nearest to what QString::number() writes.
/// Infinities and NaN come back as they are.
TESCORE_EXPORT float RoundToOneDecimal(float value);

/// The date in the compiler's form, such as "Nov 5 2013": the English abbreviation of the month in any letter
/// case, the day with or without a zero in front, and a year of four digits, with one blank between. Any
/// other text, such as a `__DATE__` that pads its day with a second blank, gives an invalid date.
TESCORE_EXPORT QDate convertCompileStringDate(const QString &date);

/// A pattern that finds e-mail addresses whose domain ends in a dot and two to four ASCII letters. The copy
/// is the caller's own.
TESCORE_EXPORT QRegExp emailPattern();

/// A pattern that finds web addresses, from a scheme of three to nine ASCII letters to a host that ends in a
/// dot and two to four ASCII letters.
TESCORE_EXPORT QRegExp webUrlPattern();

/// As webUrlPattern(), for addresses that begin with "www." instead of a scheme.
TESCORE_EXPORT QRegExp wwwPattern();

/// Whether `text` holds a character outside 7-bit ASCII.
TESCORE_EXPORT bool isUnicode(const QString &text);

/// The value of the environment variable `name` in the locale's encoding, up to the first "=" in it. When
/// several entries have that name, the first in the environment counts. An empty string for an empty value, a
/// null string when the variable is not set. As with every reader of the environment, no other thread may
/// change it meanwhile.
TESCORE_EXPORT QString GetEnvironmentVar(const QString &name);

/// `list` sorted by QString::toLower(), by code units and not by the rules of a locale. Of strings that are
/// the same in lower case only the last of the list is kept.
///
///     b, A, a, C => a, b, C
TESCORE_EXPORT QStringList SortCaseInsensitive(const QStringList &list);

/// Two ASCII characters for `c`: the base letter and a mark for its accent, or a mnemonic of a symbol. A
/// 7-bit character gives itself twice. A character without such a form gives two zero bytes.
///
///     U+00E9 e with acute => e '
///     U+00C7 C with cedilla => C ,
///     U+00A9 copyright => c o
///     A => A A
///     U+00A0 no-break space => 0xA0 0xA0     the only result that is not ASCII
///     U+00FF y with diaeresis => 0 0         and so does everything beyond
TESCORE_EXPORT QPair<char, char> decomposeUnicodeChar(const QChar &c);

/// \}

} // namespace TESCoreUtil

#endif
