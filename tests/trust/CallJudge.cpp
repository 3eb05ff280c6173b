#include "trust/CallJudge.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "support/Warnings.h"

#include <set>

namespace trust {

namespace {

/// Whether the operation cannot do without the volume that it was handed there.
bool lacks(const Operation& operation, const ArvoImage3D* image, Changes which)
{
    const int creates = which | CREATES;
    return (operation.changes & creates) == creates ? !image : !image || !image->isValid();
}

bool lacksVolume(const Operation& operation, const Call& call)
{
    return lacks(operation, call.a, FIRST) || (operation.inputs > 1 && lacks(operation, call.b, SECOND));
}

/// What is wrong with the warnings of a call and its answer.
std::string wrongAnswer(const Operation& operation, bool isMissing, bool isDone,
                        const std::vector<std::string>& texts)
{
    const std::set<std::string> distinct(texts.begin(), texts.end());
    if (static_cast<int>(distinct.size()) > operation.warnings)
        return std::to_string(distinct.size()) + " different warnings";
    if (isMissing && !operation.isSilent && texts.size() != (distinct.empty() ? 1 : distinct.size()))
        return std::to_string(texts.size()) + " warnings about a missing volume";
    if (operation.canAnswer && isDone && (isMissing || !texts.empty()))
        return "success" + (texts.empty() ? " without a volume" : " with the warning " + texts.front());
    return {};
}

} // namespace

Snapshot::Snapshot(const ArvoImage3D* image)
{
    if (!image)
        return;
    size = image->imageSize();
    type = image->dataType();
    isValid = image->isValid();
    if (isValid)
        bytes.assign(image->dataPtr(),
                     image->dataPtr() + image->sizeOfAxialSlice() * static_cast<std::size_t>(size.z));
}

std::string brokenPromise(const Operation& operation, Call& call, int threads)
{
    const Snapshot a(call.a), b(call.b);
    const bool isMissing = lacksVolume(operation, call);
    threading::setThreadLimit(isMissing ? 1 : threads); // some warn once for each worker
    const Warnings warnings;
    bool isDone = false;
    try {
        isDone = operation.run(call);
    } catch (...) {
        return "an exception escaped";
    }
    const std::vector<std::string> texts = warnings.texts();
    const std::string wrong = wrongAnswer(operation, isMissing, isDone, texts);
    if (!wrong.empty())
        return wrong;

    const bool isSame = call.a == call.b;
    const auto mayChange = [&](int which) { return texts.empty() && (operation.changes & which) != 0; };
    if (!mayChange(isSame ? FIRST | SECOND : FIRST) && Snapshot(call.a) != a)
        return "the first volume changed";
    if (!mayChange(isSame ? FIRST | SECOND : SECOND) && Snapshot(call.b) != b)
        return "the second volume changed";
    return {};
}

} // namespace trust
