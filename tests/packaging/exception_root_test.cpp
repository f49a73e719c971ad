// One root for every exception the library raises: a single catch of ondrix::Exception takes
// an error from each layer, with its message and its own type unchanged.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "ondrix/AudioSignal/AudioSignal.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/SignalProcessing/SignalProcessing.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/TStringList.h"
#include "tests/FileSignal/file_fixture.h"

using namespace ondrix;

using ExceptionRoot = ondrix::testing::FileTest;

TEST_F(ExceptionRoot, OneCatchTakesAnErrorOfEveryLayer) {
  const std::string garbage = Path("text.wav");
  std::ofstream(garbage, std::ios::binary) << std::string(1000, 'x');

  const struct {
    const char* layer;
    std::function<void()> raise;
    std::string message;
    const std::type_info& type;
  } cases[] = {
      {"vec", [] { TVec v; v.SetLength(-1); }, "TVec: negative length -1", typeid(EVecError)},
      {"framework registry", [] { FindClass("TNoSuchClass"); }, "Class TNoSuchClass not found",
       typeid(EClassNotFound)},
      {"framework list", [] { TStringList l; l.Strings(5); }, "List index out of bounds (5)", typeid(EListError)},
      {"framework stream", [this] { TFileStream s(Path("missing.dat"), fmOpenRead); },
       "Cannot open file \"" + Path("missing.dat") + "\"", typeid(EFOpenError)},
      {"file unit",
       [&] {
         TSignalRead r(nullptr);
         r.SetFileName(garbage);
         r.OpenFile();
       },
       "Error in mmIoDescend!", typeid(EVecError)},
      {"processing unit",
       [] {
         TSignalGenerator g(nullptr);
         g.SetName("Generator");
         g.SetLength(0);
         g.Pull();  // a pull names the component that failed
       },
       "Generator: Length = 0", typeid(Exception)},
      {"analysis unit", [] { TSpectrumAnalyzer(nullptr).ComputeSpectrum(nullptr); }, "Src = nil!",
       typeid(Exception)},
      {"audio unit",
       [] {
         TComponent plain(nullptr);
         TSignalOut out(&plain);
       },
       "not (AOwner is TWinControl)", typeid(EVecError)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.layer);
    try {
      c.raise();
      ADD_FAILURE() << "no error";
    } catch (const ondrix::Exception& e) {  // the message and the exact type come through
      EXPECT_EQ(e.what(), c.message);
      EXPECT_EQ(typeid(e), c.type) << typeid(e).name();
    }
  }
}

// Catch sites written for the framework's base, or for std::exception, still see its errors;
// a handler for the framework's base still lets the vector layer's errors pass.
static_assert(std::is_base_of_v<EFilerError, EClassNotFound> && std::is_base_of_v<EFrameworkError, EFilerError>);
static_assert(std::is_base_of_v<std::exception, Exception> && !std::is_base_of_v<EFrameworkError, EVecError>);
