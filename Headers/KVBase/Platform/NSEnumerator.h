#pragma once

#include <QtCore/QVariant>

#include <utility>

namespace KVBase
{

/// Walks a snapshot of a collection: what happens to the collection afterwards is not seen and does no harm.
/// Movable; one thread at a time.
class NSEnumerator {
public:
    /// An enumerator that is at its end.
    NSEnumerator() = default;
    explicit NSEnumerator(QVariantList objects) : snapshot(std::move(objects)) {}

    /// The next object, nil at the end and from then on.
    QVariant nextObject() { return next < snapshot.size() ? snapshot.at(next++) : QVariant(); }

    /// The objects not yet walked, in order; the enumerator is then at its end.
    QVariantList allObjects()
    {
        QVariantList rest = next == 0 ? std::move(snapshot) : snapshot.mid(next);
        snapshot.clear();
        next = 0;
        return rest;
    }

private:
    QVariantList snapshot;
    qsizetype next = 0;
};

} // namespace KVBase
