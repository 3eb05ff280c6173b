#include "fuzz/FuzzOperations.h"

const std::vector<trust::Operation>& fuzz::fuzzedOperations()
{
    static const trust::Operations operations = [] {
        trust::Operations table;
        trust::ADD_OPERATIONS(table);
        return table;
    }();
    return operations.list();
}
