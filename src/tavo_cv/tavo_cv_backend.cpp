#include "tavo_cv/tavo_cv_backend.h"

namespace tavo {

ICvBackend::~ICvBackend() = default;

}  // namespace tavo
