// Kept apart so that programs injecting their own model do not need the profile loader at link time.
#include "model/ComputerModel.h"
#include "server/SimServer.h"

namespace qnsim {

std::unique_ptr<SimServer> StartSimServer(const SimOptions& options, std::string& error) {
    std::unique_ptr<ComputerModel> model = LoadComputerModel(options.profile, error);
    if (!model) return nullptr;
    return StartSimServer(options, std::move(model), error);
}

}  // namespace qnsim
