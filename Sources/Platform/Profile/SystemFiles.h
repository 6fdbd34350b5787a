#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace KVBase::Profile
{

/// Reads the small text files that the kernel offers about the machine, below a root that a test can lay out
/// itself. What is missing or unreadable reads as nothing.
class SystemFiles {
public:
    explicit SystemFiles(const QString &rootFolder);

    /// The file's bytes, at most one MiB of them.
    QByteArray bytes(const QString &path) const;

    /// The file's text on one line: runs of white space and control characters become one blank.
    QString text(const QString &path) const;

    /// The number in a file, written in decimal or with "0x".
    qulonglong number(const QString &path) const;

    /// The names in a folder, sorted so that numbers within them count as numbers.
    QStringList names(const QString &folder) const;

    /// The last component of what the link points to.
    QString linkName(const QString &path) const;

    /// The path with every link resolved; empty when there is no such item.
    QString resolved(const QString &path) const;

    bool isFolder(const QString &path) const;

private:
    QString root;
};

/// A size in bytes as people write it: "512 MB", "15.6 GB".
QString sizeText(double bytes);

/// A number as "0x8086", at least four digits.
QString identifierText(qulonglong number);

} // namespace KVBase::Profile
