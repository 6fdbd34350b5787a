#include "Platform/RunLoop/RequestTable.h"

#include <KVBase/Platform/KVNil.h>

namespace KVBase
{

namespace
{

/// nil equals only nil; in Qt it would equal the empty text.
bool areEqual(const QVariant &a, const QVariant &b)
{
    if (isNil(a) || isNil(b))
        return isNil(a) && isNil(b);
    return a == b;
}

} // namespace

void RequestTable::link(Request *request)
{
    const auto [head, isFirst] = alike.try_emplace(request->key, request);
    if (isFirst)
        return;
    request->nextAlike = head->second;
    head->second->previousAlike = request;
    head->second = request;
}

void RequestTable::unlink(Request *request)
{
    if (request->nextAlike != nullptr)
        request->nextAlike->previousAlike = request->previousAlike;
    if (request->previousAlike != nullptr) {
        request->previousAlike->nextAlike = request->nextAlike;
    } else {
        const auto head = alike.find(request->key);
        if (request->nextAlike == nullptr)
            alike.erase(head);
        else
            head->second = request->nextAlike;
    }
    request->previousAlike = nullptr;
    request->nextAlike = nullptr;
}

Request *RequestTable::insert(std::unique_ptr<Request> request)
{
    Request *const inserted = request.get();
    inserted->isParked = false;
    link(inserted);
    waiting.emplace_hint(waiting.end(), inserted->place, std::move(request));
    return inserted;
}

Request *RequestTable::findOnly(const RequestKey &key, const QVariant *argument) const
{
    const auto head = alike.find(key);
    if (head == alike.end())
        return nullptr;
    Request *found = nullptr;
    for (Request *request = head->second; request != nullptr; request = request->nextAlike) {
        if (argument != nullptr && !areEqual(request->argument, *argument))
            continue;
        if (found != nullptr)
            return nullptr;
        found = request;
    }
    return found;
}

void RequestTable::move(Request *request, const RequestPlace &place)
{
    auto turn = (request->isParked ? parked : waiting).extract(request->place);
    request->isParked = false;
    request->place = place;
    turn.key() = place;
    waiting.insert(waiting.end(), std::move(turn));
}

std::unique_ptr<Request> RequestTable::remove(Request *request)
{
    unlink(request);
    return std::move((request->isParked ? parked : waiting).extract(request->place).mapped());
}

RequestList RequestTable::removeAlike(const RequestKey &key, const QVariant *argument)
{
    RequestList removed;
    const auto head = alike.find(key);
    if (head == alike.end())
        return removed;
    for (Request *request = head->second; request != nullptr;) {
        Request *const next = request->nextAlike;
        if (argument == nullptr || areEqual(request->argument, *argument))
            removed.push_back(remove(request));
        request = next;
    }
    return removed;
}

RequestList RequestTable::removeAllOf(const void *receiver)
{
    RequestList removed;
    for (Turns *turns : {&waiting, &parked}) {
        for (auto it = turns->begin(); it != turns->end();) {
            Request *const request = (it++)->second.get();
            if (request->key.kind != RequestKey::Kind::Timer && request->key.receiver == receiver)
                removed.push_back(remove(request));
        }
    }
    return removed;
}

std::unique_ptr<Request> RequestTable::takeDue(std::chrono::nanoseconds now, std::uint64_t sequenceLimit,
                                               std::uint64_t pass, const QString &mode)
{
    for (auto it = waiting.begin(); it != waiting.end() && it->first.first <= now;) {
        Request *const request = (it++)->second.get();
        if (request->place.second >= sequenceLimit || request->firstPass > pass)
            continue;
        if (request->modes.contains(mode))
            return remove(request);
        request->isParked = true;
        parked.insert(waiting.extract(request->place));
    }
    return nullptr;
}

void RequestTable::unpark()
{
    for (auto &[place, request] : parked)
        request->isParked = false;
    waiting.merge(parked);
}

std::chrono::nanoseconds RequestTable::firstDue() const
{
    return waiting.empty() ? kNever : waiting.begin()->first.first;
}

} // namespace KVBase
