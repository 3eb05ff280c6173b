#include "fuzz/FuzzedCalls.h"

/// The volume's own members.
trust::Operations fuzz::operationsReading(Bytes&)
{
    trust::Operations list;
    trust::addVolumeOperations(list);
    return list;
}
