#include <KVBase/Platform/NSMutableArray.h>

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

namespace KVBase
{

namespace
{

/// Runs a primitive whose index was right a moment ago. Answers false when another thread has shortened the
/// array since, which is no error of the derived operation's caller.
template <class Primitive>
bool withinRange(Primitive primitive)
{
    try {
        primitive();
        return true;
    } catch (const NSException &exception) {
        if (exception.name() != NSRangeException)
            throw;
        return false;
    }
}

bool isSameObject(const QVariant &element, const QVariant &object)
{
    return !isNil(object) && element == object;
}

} // namespace

NSMutableArray::NSMutableArray() = default;

NSMutableArray::~NSMutableArray() = default;

bool NSMutableArray::containsObject(const QVariant &object) const
{
    return indexOfObject(object) != NSNotFound;
}

std::uint32_t NSMutableArray::indexOfObject(const QVariant &object) const
{
    NSEnumerator enumerator = objectEnumerator();
    std::uint32_t index = 0;
    for (QVariant element = enumerator.nextObject(); element.isValid();
         element = enumerator.nextObject(), ++index) {
        if (isSameObject(element, object))
            return index;
    }
    return NSNotFound;
}

void NSMutableArray::addObjectsFromArray(const QVariantList &objects)
{
    for (const QVariant &object : objects)
        addObject(object);
}

void NSMutableArray::removeObject(const QVariant &object)
{
    for (std::uint32_t index = count(); index > 0; --index) {
        withinRange([&] {
            if (isSameObject(objectAtIndex(index - 1), object))
                removeObjectAtIndex(index - 1);
        });
    }
}

void NSMutableArray::removeAllObjects()
{
    for (std::uint32_t left = count(); left > 0; --left) {
        if (!withinRange([this] { removeLastObject(); }))
            return;
    }
}

bool NSMutableArray::isEqualToArray(const QVariantList &objects) const
{
    const QVariantList elements = copy();
    if (elements.size() != objects.size())
        return false;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        if (!isSameObject(elements.at(i), objects.at(i)))
            return false;
    }
    return true;
}

QVariantList NSMutableArray::copy() const { return objectEnumerator().allObjects(); }

} // namespace KVBase
