#include "array/RestCallLogMessageToGMD.h"

#include "array/RestConnection.h"
#include "restsdk/v1/DebugLog.h"
#include "restsdk/v1/ObjectSetFactory.h"

namespace Vantor {

void RestCallLogMessageToGMD::Call() {
  mRestConn.getV1ObjectSetFactory()->getDebugLogObjectSet()->createObject(
      VantorStorage::WS::v1::DebugLog(mMessage, mLevel));
}

}  // namespace Vantor
