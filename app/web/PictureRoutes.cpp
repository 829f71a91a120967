#include "app/web/Answers.h"

namespace web {

Response getStream(const Call& call)
{
    return call.api.pictures().stream();
}

Response getSnapshot(const Call& call)
{
    return call.api.pictures().snapshot();
}

}  // namespace web
