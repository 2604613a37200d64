#ifndef TESCORE_TCORETYPE_H
#define TESCORE_TCORETYPE_H

/// \file TCoreType.h
/// The text forms in which the applications store pairs of numbers, points, sizes, horizontal alignments and
/// sets of ids; fuzzy comparison of floating-point numbers.
///
/// \code
/// settings.setValue(key, TCoreType::toString(position, 2));
/// bool ok = false;
/// const QPointF restored = TCoreType::toPointF(settings.value(key).toString(), &ok);
/// \endcode
///
/// The forms do not depend on the locale. Reentrant; keeps no state.

#include <TesCore/TesCoreGlobal.h>

#include <QPair>
#include <QPointF>
#include <QSet>
#include <QSizeF>
#include <QString>
#include <Qt>

namespace TCoreType {

/// \name Pairs, points and sizes
/// Two numbers with a comma between them. A reader converts what stands before and after the first comma with
/// QString::toInt() or QString::toDouble(), which allow white space around a number. When either is no
/// number, or does not fit its type, both are zero and `*ok` is false; `ok` may be null.
/// \{

/// The pair of integers in `text`.
///
///     "12,34"                              => (12, 34)
///     "1,2,3"                              => not ok: "2,3" is no integer
///     "a,2"                                => not ok, (0, 0)
TESCORE_EXPORT QPair<int, int> toIntPair(const QString &text, bool *ok = nullptr);

/// The pair of numbers in `text`.
///
///     "1.5,-2"                             => (1.5, -2)
///     "1e400,1"                            => not ok: too large
TESCORE_EXPORT QPair<double, double> toDoublePair(const QString &text, bool *ok = nullptr);

/// The point in `text`, x before y.
TESCORE_EXPORT QPointF toPointF(const QString &text, bool *ok = nullptr);

/// The text form of `pair` with `precision` decimals (at most 1,000,000), as QString::number() writes them in
/// the format 'f'. A zero that would have decimals is written "0.0".
///
///     (12.5, 3.25), 2                      => "12.50,3.25"
///     (1.5, 0), 2                          => "1.50,0.0"
///     (5, 0), 0                            => "5,0"
///     (-0.001, 1), 2                       => "-0.00,1.00"
TESCORE_EXPORT QString toString(const QPair<double, double> &pair, int precision);

/// The text form of `point`, x before y.
TESCORE_EXPORT QString toString(const QPointF &point, int precision);

/// The text form of `size`, width before height; toDoublePair() reads it.
TESCORE_EXPORT QString toString(const QSizeF &size, int precision);

/// \}
/// \name Horizontal alignment
/// "Left", "Right", "Center" and "Justify". Where several horizontal flags are set, the first in this order
/// counts; where none is, `Qt::AlignLeft`. Vertical flags and `Qt::AlignAbsolute` do not count.
/// \{

/// The flag that `text` names, in exactly these letters; else `defaultAlignment` unchanged.
TESCORE_EXPORT Qt::Alignment toAlignment(const QString &text, Qt::Alignment defaultAlignment);

/// The name of the horizontal flag that counts in `alignment`.
TESCORE_EXPORT QString toString(Qt::Alignment alignment);

/// The horizontal flag that counts in `alignment`, alone.
TESCORE_EXPORT Qt::Alignment simplifyAlignment(Qt::Alignment alignment);

/// \}
/// \name Sets of ids
/// \{

/// The text form of a set of ids: ascending, runs of consecutive ids as ranges. A null string for the empty
/// set. A negative id is written in decimal, but cannot be read back.
///
///     {5, 3, 4, 9}                         => "3-5, 9"
///     {7, 8}                               => "7-8"
TESCORE_EXPORT QString toString(const QSet<int> &ids);

/// The ids in `text`: numbers and ranges with commas between them, in any order, each number as
/// QString::toInt() reads it, which allows white space around it. A piece that is neither a number nor a
/// range is skipped, and so is one that names a negative number; a minus sign (U+2212) before a zero does no
/// harm.
///
/// A few characters can name two thousand million ids. Therefore all ranges of a text together give at most
/// 10,000,000 ids beyond one for each range, an id that several of them name counted once. They are taken in
/// ascending order, and one that would exceed this is skipped. Only a set whose runs are longer than that
/// together does not come back from what toString() wrote. Takes time and memory for each id.
///
///     "4,x,6"                              => {4, 6}
///     "1 - 3"                              => {1, 2, 3}
///     "3-1", "1-3-5", "-5"                 => {}
///     "0-2147483647, 5"                    => {5}
TESCORE_EXPORT QSet<int> splitToIds(const QString &text);

/// \}

} // namespace TCoreType

/// Whether the difference of `a` and `b` is at most 0.00001 times the smaller of their magnitudes. Only zero
/// is close to zero, and nothing is close to a NaN. The formula also holds for infinities: one is not close
/// to itself, but is to its opposite.
TESCORE_EXPORT bool tesFuzzyCompare(float a, float b);

/// The same for `a` + 1 and `b` + 1 with 0.000000000001: 0 and 1e-13 are close, 0 and 1e-11 are not.
TESCORE_EXPORT bool tesFuzzyCompare(double a, double b);

#endif
