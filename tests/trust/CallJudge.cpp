#include "trust/CallJudge.h"

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/threading/ThreadCount.h"
#include "support/Warnings.h"

#include <exception>
#include <new>
#include <set>

namespace trust {

namespace {

/// Whether the operation cannot do without the volume that it was handed there.
bool lacks(const Operation& operation, const ArvoImage3D* image, unsigned changes)
{
    return operation.has(changes | CREATES) ? !image : !image || !image->isValid();
}

bool lacksVolume(const Operation& operation, const Call& call)
{
    return lacks(operation, call.a, CHANGES_A) ||
           (operation.has(TAKES_TWO) && lacks(operation, call.b, CHANGES_B));
}

/// What is wrong with the warnings of a call and its answer.
std::string wrongAnswer(const Operation& operation, bool isMissing, bool isDone,
                        const std::vector<std::string>& texts)
{
    const std::set<std::string> distinct(texts.begin(), texts.end());
    if (distinct.size() > (operation.has(WARNS_TWICE) ? 2 : 1))
        return std::to_string(distinct.size()) + " different warnings";
    if (isMissing && !operation.has(SILENT) && texts.size() != (distinct.empty() ? 1 : distinct.size()))
        return std::to_string(texts.size()) + " warnings about a missing volume";
    if (operation.has(ANSWERS) && isDone && (isMissing || !texts.empty()))
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
    } catch (const std::bad_alloc&) {
        if (!operation.has(THROWS))
            return "std::bad_alloc escaped";
    } catch (const std::exception& exception) {
        return std::string("an exception escaped: ") + exception.what();
    }
    const std::vector<std::string> texts = warnings.texts();
    const std::string wrong = wrongAnswer(operation, isMissing, isDone, texts);
    if (!wrong.empty())
        return wrong;

    const unsigned changes = texts.empty() ? operation.traits & (CHANGES_A | CHANGES_B) : 0;
    const bool isSame = call.a == call.b && changes != 0;
    if ((changes & CHANGES_A) == 0 && !isSame && Snapshot(call.a) != a)
        return "the first volume changed";
    if ((changes & CHANGES_B) == 0 && !isSame && Snapshot(call.b) != b)
        return "the second volume changed";
    return {};
}

} // namespace trust
