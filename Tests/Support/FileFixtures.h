#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase::Tests
{

/// A folder of its own for each test, below the scratch folder; its path has no link in it.
QString freshFolder();

/// Makes or replaces a file; ends the process when that fails, since the test would mean nothing.
void putFile(const QString &path, const QByteArray &content);

/// Content of a file, or "(none)".
QByteArray contentOf(const QString &path);

/// The names in a folder, hidden ones included, sorted.
QStringList namesIn(const QString &folder);

/// Makes a folder and those above it.
void putFolder(const QString &path);

/// Makes a symbolic link at `path`.
void putLink(const QString &path, const QString &target);

} // namespace KVBase::Tests
