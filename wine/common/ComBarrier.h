// The pack's exception barrier. A C++ exception that leaves a COM method
// unwinds into a caller that cannot catch it (Wine's graph, the source's
// streaming thread) and ends the host process; so the pack's entry points run
// their work through CallWithoutThrowing, which turns what the standard
// library throws into an HRESULT:
//
//   std::bad_alloc (and a container's length_error)  -> E_OUTOFMEMORY
//   anything else                                     -> E_FAIL
#pragma once

#include <windows.h>

#include <new>
#include <stdexcept>

namespace tavpack {

// work() returns an HRESULT; onThrow(hr) runs (and must not throw) when work
// threw, so the caller can refuse further work its half-done state would spoil.
template <typename Work, typename OnThrow>
HRESULT CallWithoutThrowing(Work&& work, OnThrow&& onThrow) noexcept {
  HRESULT hr;
  try {
    return work();
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  } catch (const std::length_error&) {
    hr = E_OUTOFMEMORY;
  } catch (...) {
    hr = E_FAIL;
  }
  onThrow(hr);
  return hr;
}

template <typename Work>
HRESULT CallWithoutThrowing(Work&& work) noexcept {
  return CallWithoutThrowing(work, [](HRESULT) {});
}

}  // namespace tavpack
