// Reference counting and the unused half of IDispatch for the objects of the stand-in firewall.
#pragma once

#include <string>

#include "fw/fake/recorder.h"

#include <objbase.h>
#include <oleauto.h>

// The interfaces of COM have no virtual destructor, and no object of ours is deleted.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace korvel::test::fwfake {

/// Implements `Interface`. An object whose count reached zero stays in memory, so that one release too many
/// is noticed ("!rule released too often") instead of being undefined; tests are short.
template <typename Interface>
class ComObject : public Interface {
 public:
  explicit ComObject(const char* kind) : kind_(kind) { Recorder::instance().note(std::string("+") + kind_); }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = nullptr;
    if (id == __uuidof(Interface)) {
      if (const auto injected = Recorder::instance().enter(std::string(kind_) + ".QueryInterface"))
        return *injected;
    } else if (id != __uuidof(IUnknown) && !(isDispatch() && id == __uuidof(IDispatch))) {
      return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<Interface*>(this);
    return S_OK;
  }

  ULONG STDMETHODCALLTYPE AddRef() override {
    if (references_ == 0) misuse();
    return ++references_;
  }

  ULONG STDMETHODCALLTYPE Release() override {
    if (references_ == 0) {
      misuse();
      return 0;
    }
    if (--references_ == 0) Recorder::instance().note(std::string("-") + kind_);
    return references_;
  }

 private:
  static constexpr bool isDispatch() { return std::is_base_of_v<IDispatch, Interface>; }
  void misuse() { Recorder::instance().note(std::string("!") + kind_ + " used after its end"); }

  const char* kind_;
  ULONG references_ = 1;  // the creator's
};

template <typename Interface>
class DispatchObject : public ComObject<Interface> {
 public:
  using ComObject<Interface>::ComObject;
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }
};

}  // namespace korvel::test::fwfake
