#include "Api/Controls.h"

#include <string>

namespace Orvia::GenICam::Detail {

bool CUserSetControl::userSetCallOne(int32_t number) {
    CEnumNode selector(camera_, FeatureNames::kUserSetSelector);
    return selector.setValueBySymbol(Infra::CString("UserSet" + std::to_string(number)));
}

bool CUserSetControl::userSetCallTwo(int32_t number) {
    CCmdNode save(camera_, FeatureNames::kUserSetSave);
    return userSetCallOne(number) && save.execute();
}

} // namespace Orvia::GenICam::Detail
