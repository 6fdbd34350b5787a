#pragma once

#include "Platform/Services/AddressBookStore.h"

namespace KVBase
{

/// The name of the companion library that speaks to the desktop's address book, and its function, which makes
/// a store over it or answers null when no such service answers.
inline constexpr char kDesktopAddressBookLibrary[] = "DesktopAddressBook";
inline constexpr char kDesktopAddressBookFunction[] = "kvbaseDesktopAddressBook";
using DesktopAddressBookFunction = AddressBookStore *();

} // namespace KVBase
