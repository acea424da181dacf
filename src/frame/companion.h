// The companion dialog module: the adjustments and the filter ask the user
// for their parameters through entry points of a separate module, loaded by
// the call that needs a dialog and released again before pixels are
// processed. It is looked for in the library's own folder first, then by the
// platform's normal search ("NadiroDlgs.dll" on Windows, "libNadiroDlgs.so"
// elsewhere). A module of that name the process has already loaded is the
// one the normal search finds, wherever it came from.
#pragma once

#include "frame/companion_entries.h"
#include "frame/thread_state.h"

namespace nadiro {

// The loaded companion module for the length of one call.
class CompanionModule {
 public:
  CompanionModule();  // loads it; a failed load leaves an empty module
  ~CompanionModule() { release(); }
  CompanionModule(const CompanionModule&) = delete;
  CompanionModule& operator=(const CompanionModule&) = delete;

  explicit operator bool() const { return module_ != nullptr; }
  // The platform's module handle (HMODULE, or the dlopen handle).
  void* native() const { return module_; }

  // The entry point typed by its signature; null when the module or the
  // entry point is missing.
  template <typename Fn>
  Fn* lookup(companion::Entry<Fn> entry) const {
    return reinterpret_cast<Fn*>(find(entry.name));
  }
  // Any exported name, untyped.
  void* find(const char* name) const;

  void release();

 private:
  void* module_ = nullptr;
};

enum class DialogResult {
  Ok,         // the variables now hold the user's values
  Cancelled,  // the export frees what it made and returns 0, codes untouched
  Missing,    // module or entry point missing: last error 7, go on as passed
};

// The shared rule of every parameter dialog: load the companion, call the
// entry point with the export's image and pointers to its variables, release
// the module. A missing entry point stores NADIRO_ERR_NO_DIALOG_ENTRY in the
// last-error field, whichever field the export otherwise reports in.
template <typename Fn, typename... Args>
DialogResult showCompanionDialog(companion::Entry<Fn> entry, Args... args) {
  CompanionModule module;
  Fn* dialog = module.lookup(entry);
  if (!dialog) {
    setLastError(NADIRO_ERR_NO_DIALOG_ENTRY);
    return DialogResult::Missing;
  }
  return dialog(args...) != 0 ? DialogResult::Ok : DialogResult::Cancelled;
}

}  // namespace nadiro
