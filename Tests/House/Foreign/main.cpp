#include <KVBase/KVBase.h>

#include <cstdio>

/// A program that knows nothing of the library but its installed package.
int main()
{
    const QString relative =
        KVBase::UPath::GetRelativePath(QStringLiteral("/a/b"), QStringLiteral("/a/b/c/d"));
    const QString text = KVBase::stringWithFormat("%@ %d", relative, 7);
    std::printf("%s\n", qUtf8Printable(text));
    return text == QStringLiteral("c/d 7") ? 0 : 1;
}
