// Owners of COM resources: the apartment of a thread, interface pointers, strings, variants.
//
// None of them is thread-safe, and none may outlive the apartment in which it was obtained: declare the
// apartment first.
#pragma once

#include <new>
#include <string>
#include <string_view>

#include "base/unique_resource.h"
#include "base/win.h"

#include <objbase.h>
#include <oleauto.h>

namespace korvel::fw {

/// Enters a single-threaded apartment and, if that succeeded, leaves it on destruction. A thread that is
/// already in another kind of apartment stays there, where in-process classes can be used as well.
class ComApartment {
 public:
  ComApartment() : entered_(SUCCEEDED(::CoInitializeEx(/*reserved=*/nullptr, COINIT_APARTMENTTHREADED))) {}
  ~ComApartment() {
    if (entered_) ::CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

 private:
  bool entered_;
};

template <typename Interface>
struct InterfaceTraits {
  using Value = Interface*;
  static Value empty() { return nullptr; }
  static bool valid(Value pointer) { return pointer != nullptr; }
  static void close(Value pointer) { pointer->Release(); }
};

/// Owns one reference.
template <typename Interface>
class ComPtr : public UniqueResource<InterfaceTraits<Interface>> {
 public:
  using UniqueResource<InterfaceTraits<Interface>>::UniqueResource;
  Interface* operator->() const { return this->get(); }
};

/// The result of a call that returns an interface through `pointer`; success with a null pointer is an error.
template <typename Interface>
HRESULT received(HRESULT result, const ComPtr<Interface>& pointer) {
  return SUCCEEDED(result) && !pointer ? E_POINTER : result;
}

template <typename Interface>
HRESULT createInProcess(REFCLSID classId, ComPtr<Interface>& instance) {
  void** const out = reinterpret_cast<void**>(instance.receive());
  const HRESULT created =
      ::CoCreateInstance(classId, /*outer=*/nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), out);
  return received(created, instance);
}

template <typename Interface>
HRESULT queryInterface(IUnknown* object, ComPtr<Interface>& other) {
  void** const out = reinterpret_cast<void**>(other.receive());
  return received(object->QueryInterface(__uuidof(Interface), out), other);
}

struct BstrTraits {
  using Value = BSTR;
  static BSTR empty() { return nullptr; }
  static bool valid(BSTR text) { return text != nullptr; }
  static void close(BSTR text) { ::SysFreeString(text); }
};
using Bstr = UniqueResource<BstrTraits>;

/// Throws std::bad_alloc when there is no memory for the copy.
inline Bstr makeBstr(std::wstring_view text) {
  Bstr copy(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
  if (!copy) throw std::bad_alloc();
  return copy;
}

/// A null BSTR is an empty text.
inline std::wstring toText(const Bstr& text) {
  return text ? std::wstring(text.get(), ::SysStringLen(text.get())) : std::wstring();
}

class Variant {
 public:
  Variant() { ::VariantInit(&value_); }
  ~Variant() { clear(); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;

  VARTYPE type() const { return V_VT(&value_); }
  /// The object of a VT_DISPATCH, still owned by the variant; null for every other type.
  IDispatch* dispatch() const { return type() == VT_DISPATCH ? V_DISPATCH(&value_) : nullptr; }

  /// For calls that return a variant through a pointer: releases what is held first.
  VARIANT* receive() {
    clear();
    return &value_;
  }

 private:
  void clear() {
    (void)::VariantClear(&value_);  // fails only for an invalid type; nothing to free then
    ::VariantInit(&value_);
  }

  VARIANT value_;
};

}  // namespace korvel::fw
