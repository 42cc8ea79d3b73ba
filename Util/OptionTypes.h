#ifndef UTIL_OPTIONTYPES_H
#define UTIL_OPTIONTYPES_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// The types of variables that an option may be bound to, stated once: what an item's type is, which
// code it has, and that its list has the next one.

template <class... Items>
struct OptionTypeList {};

// The types of items in the order of their codes, which are 1, 3, 5 and so on.
using OptionItems =
    OptionTypeList<signed char, unsigned char, unsigned int, int, unsigned long long, long long,
                   double, float, std::string, char*, bool>;

// A variable of an option, and its code.
template <class Type, int TYPE_CODE>
struct OptionVariable {
  using Variable = Type;
  static constexpr int CODE = TYPE_CODE;
};

// Of(v) is the OptionVariable for a pointer v to an item or a list; there is none for any other
// pointer. Overloads, and nothing that is deduced: a list of lists is no list.
template <int CODE, class Item>
struct OptionVariablesOfItem {
  static OptionVariable<Item, CODE> Of(Item*);
  static OptionVariable<std::vector<Item>, CODE + 1> Of(std::vector<Item>*);
};

template <class Numbers, class List>
struct OptionVariablesOfList;

template <size_t... NUMBERS, class... Items>
struct OptionVariablesOfList<std::index_sequence<NUMBERS...>, OptionTypeList<Items...>>
    : OptionVariablesOfItem<int{2 * NUMBERS + 1}, Items>... {
  using OptionVariablesOfItem<int{2 * NUMBERS + 1}, Items>::Of...;

  // Calls `use` with a null pointer to the item's type that has this code; false where none has.
  template <class Use>
  static bool WithItem(int code, Use use) {
    return ((code == 2 * NUMBERS + 1 && (use(static_cast<Items*>(nullptr)), true)) || ...);
  }
};

template <class... Items>
OptionVariablesOfList<std::index_sequence_for<Items...>, OptionTypeList<Items...>>
    OptionVariablesOf(OptionTypeList<Items...>);

using OptionVariables = decltype(OptionVariablesOf(OptionItems()));

#endif
