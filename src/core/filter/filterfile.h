#pragma once
// Filter files (".filters"): a property-list dictionary of filter name to
// predicate text, XML or binary; written as XML, atomically.
//
// Pure functions and blocking file I/O on the caller's thread; any thread.

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace vf {

// The string entries of a filter file's bytes; empty when they are not a
// property-list dictionary (or fail the checks of core/support/plistreader.h).
// Linear in the size of the file: an XML dictionary is read here, since the
// property-list library takes time quadratic in the number of its keys.
QVariantMap filterFileEntries(const QByteArray& bytes);

// The same for the file at `path`.
QVariantMap readFilterFile(const QString& path);

// Writes name -> text as an XML property list, atomically.
bool writeFilterFile(const QString& path, const QVariantMap& filters);

}  // namespace vf
