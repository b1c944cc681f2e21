#include "Api/CameraImpl.h"

namespace Orvia::GenICam {

namespace Detail {

int32_t CCameraImpl::readPrivateArea(void* buffer, uint64_t count) {
    if (!buffer || count == 0) {
        return -1;
    }
    return core_->device().readPrivateArea(buffer, count);
}

int32_t CCameraImpl::writePrivateArea(const void* buffer, uint64_t count) {
    if (!buffer || count == 0) {
        return -1;
    }
    return core_->device().writePrivateArea(buffer, count);
}

std::shared_ptr<CDeviceCore> coreOf(const Memory::TSharedPtr<ICamera>& camera) {
    auto impl = std::dynamic_pointer_cast<CCameraImpl>(camera);
    return impl ? impl->core() : nullptr;
}

} // namespace Detail

Memory::TSharedPtr<IGigECamera> IGigECamera::getInstance(const Memory::TSharedPtr<ICamera>& camera) {
    auto core = Detail::coreOf(camera);
    if (!core || core->info().interfaceKind != InterfaceKindGigE) {
        return nullptr;
    }
    return std::make_shared<Detail::CGigECameraImpl>(core);
}

} // namespace Orvia::GenICam
