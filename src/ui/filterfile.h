#pragma once
// Filter files: a property-list dictionary of filter name -> predicate text
// (XML or binary on reading; XML on writing). Any thread.

#include <QString>
#include <QVariantMap>

namespace vf::ui {

// The dictionary's string entries; empty when the file is not such a dictionary.
QVariantMap readFilterFile(const QString& path);

// Writes the dictionary as an XML property list, atomically.
bool writeFilterFile(const QString& path, const QVariantMap& filters);

}  // namespace vf::ui
