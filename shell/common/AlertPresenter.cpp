#include "shell/common/AlertPresenter.h"

#include "platform/core/SharedInstance.h"

namespace vantrel {

std::shared_ptr<AlertPresenter> AlertPresenter::shared() {
    return SharedInstance<AlertPresenter>::getOrMake([] {
        return std::static_pointer_cast<AlertPresenter>(std::make_shared<AlertPresenterMessageBox>());
    });
}

void AlertPresenter::setShared(std::shared_ptr<AlertPresenter> presenter) {
    SharedInstance<AlertPresenter>::set(std::move(presenter));
}

} // namespace vantrel
