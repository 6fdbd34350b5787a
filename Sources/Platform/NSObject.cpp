#include <KVBase/Platform/NSObject.h>

#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QVarLengthArray>

#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <unordered_map>

namespace KVBase
{

namespace
{

struct MethodKey {
    const QMetaObject *metaObject;
    QString selector;

    bool operator==(const MethodKey &) const = default;
};

struct MethodKeyHash {
    std::size_t operator()(const MethodKey &key) const noexcept
    {
        return qHash(key.selector, reinterpret_cast<std::size_t>(key.metaObject));
    }
};

/// Where a method was found. The name is kept because a meta-object that was made while the program runs may
/// be gone and another one stand at its address.
struct MethodPlace {
    std::string name;
    int index;
};

struct MethodCache {
    std::shared_mutex mutex;
    std::unordered_map<MethodKey, MethodPlace, MethodKeyHash> places;
};

/// Never destroyed: threads may call methods until the process has ended.
MethodCache &methodCache()
{
    static auto *const cache = new MethodCache;
    return *cache;
}

bool isMethodNamed(const QMetaMethod &method, const std::string &name, int parameters)
{
    const bool callable =
        method.methodType() == QMetaMethod::Method || method.methodType() == QMetaMethod::Slot;
    return callable && method.parameterCount() == parameters &&
           method.name() == QByteArrayView(name.data(), static_cast<qsizetype>(name.size()));
}

QMetaMethod rememberedMethod(const MethodKey &key, int parameters)
{
    MethodCache &cache = methodCache();
    const std::shared_lock lock(cache.mutex);
    const auto found = cache.places.find(key);
    if (found == cache.places.end() || found->second.index >= key.metaObject->methodCount())
        return {};
    const QMetaMethod method = key.metaObject->method(found->second.index);
    return isMethodNamed(method, found->second.name, parameters) ? method : QMetaMethod();
}

QMetaMethod searchedMethod(const MethodKey &key, int parameters)
{
    const std::string name = key.selector.section(u':', 0, 0).toStdString();
    for (int index = key.metaObject->methodCount() - 1; index >= 0; --index) {
        const QMetaMethod method = key.metaObject->method(index);
        if (!isMethodNamed(method, name, parameters))
            continue;
        MethodCache &cache = methodCache();
        const std::lock_guard lock(cache.mutex);
        cache.places.insert_or_assign(key, MethodPlace{name, index});
        return method;
    }
    return {};
}

QMetaMethod methodForSelector(const QObject &receiver, const KVSelector &selector)
{
    const MethodKey key{receiver.metaObject(), selector.name()};
    const int parameters = selector.colonCount();
    const QMetaMethod remembered = rememberedMethod(key, parameters);
    return remembered.isValid() ? remembered : searchedMethod(key, parameters);
}

[[noreturn]] void raiseUnknownSelector(const QObject &receiver, const KVSelector &selector)
{
    throw NSException(NSInvalidArgumentException,
                      stringWithFormat("-[%s %@]: unrecognized selector sent to instance %p",
                                       receiver.metaObject()->className(), selector.name(), &receiver));
}

[[noreturn]] void raiseUnfitArgument(const QObject &receiver, const KVSelector &selector,
                                     const QVariant &object, const char *wanted)
{
    throw NSException(NSInvalidArgumentException,
                      stringWithFormat("-[%s %@]: a %s cannot be passed as %s",
                                       receiver.metaObject()->className(), selector.name(), object.typeName(),
                                       wanted));
}

/// `object` as a value of `type`; a nil object as that type's default value.
QVariant converted(const QVariant &object, const QMetaType &type)
{
    if (isNil(object))
        return QVariant(type);
    QVariant value = object;
    return value.convert(type) ? value : QVariant();
}

/// The arguments of one call, in the form that Qt's generated code reads.
class ArgumentVector {
public:
    explicit ArgumentVector(QVariant &result, const QMetaType &resultType)
    {
        if (resultType == QMetaType::fromType<QVariant>()) {
            addresses.append(&result);
        } else if (resultType.isValid() && resultType != QMetaType::fromType<void>()) {
            result = QVariant(resultType);
            addresses.append(result.data());
        } else {
            addresses.append(nullptr);
        }
    }

    /// False when `object` does not convert.
    bool append(const QVariant &object, const QMetaType &type)
    {
        if (type == QMetaType::fromType<QVariant>()) {
            addresses.append(const_cast<QVariant *>(&object));
            return true;
        }
        if (object.metaType() == type) {
            addresses.append(const_cast<void *>(object.constData()));
            return true;
        }
        if (!type.isValid())
            return false;
        values.push_back(converted(object, type));
        addresses.append(const_cast<void *>(values.back().constData()));
        return values.back().isValid();
    }

    void reserve(int parameters) { values.reserve(parameters); }
    void **data() { return addresses.data(); }

private:
    QVarLengthArray<QVariant, 2> values;
    QVarLengthArray<void *, 4> addresses;
};

QVariant call(QObject *receiver, const KVSelector &selector, std::span<const QVariant> objects)
{
    if (receiver == nullptr)
        return {};
    const QMetaMethod method = methodForSelector(*receiver, selector);
    if (!method.isValid())
        raiseUnknownSelector(*receiver, selector);

    static const QVariant nil;
    QVariant result;
    ArgumentVector arguments(result, method.returnMetaType());
    arguments.reserve(method.parameterCount());
    for (int parameter = 0; parameter < method.parameterCount(); ++parameter) {
        const auto position = static_cast<std::size_t>(parameter);
        const QVariant &object = position < objects.size() ? objects[position] : nil;
        if (!arguments.append(object, method.parameterMetaType(parameter)))
            raiseUnfitArgument(*receiver, selector, object, method.parameterTypeName(parameter).constData());
    }
    QMetaObject::metacall(receiver, QMetaObject::InvokeMetaMethod, method.methodIndex(), arguments.data());
    return result;
}

} // namespace

bool respondsToSelector(const QObject *receiver, const KVSelector &selector)
{
    return receiver != nullptr && !selector.isNil() && methodForSelector(*receiver, selector).isValid();
}

QVariant performSelector(QObject *receiver, const KVSelector &selector)
{
    return call(receiver, selector, {});
}

QVariant performSelector(QObject *receiver, const KVSelector &selector, const QVariant &object)
{
    return call(receiver, selector, {&object, 1});
}

QVariant performSelector(QObject *receiver, const KVSelector &selector, const QVariant &object1,
                         const QVariant &object2)
{
    const QVariant objects[] = {object1, object2};
    return call(receiver, selector, objects);
}

} // namespace KVBase
