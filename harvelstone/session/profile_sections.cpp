// Copies stored values into a session section: the visit counters of the document DB map (PARAM_LTVI, PARAM_UD_VT), the
// member profile, and the test variants. Writes no store. Runs on the caller's thread.

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/session/section_rows.hpp"

namespace harvelstone {

namespace {

/// As it is stored; the integer 0 when there is none.
template <KeyAccessor key>
std::optional<Value> storedCounter() {
    return storedNumber(key) ? storedNumber(key) : Value(0);
}

constexpr SectionRow counterRows[] = {
    {&StaticValues::PARAM_LTVI, storedCounter<&StaticValues::PARAM_LTVI>},
    {&StaticValues::PARAM_UD_VT, storedCounter<&StaticValues::PARAM_UD_VT>},
};

constexpr SectionRow profileRows[] = {
    {&StaticValues::PARAM_MBR, profiled<&ProfileManager::getMbr>},
    {&StaticValues::PARAM_MBR_LVL, profiled<&ProfileManager::getMemberLvl>},
    {&StaticValues::PARAM_MBR_CD, profiled<&ProfileManager::getMemberCd>},
    {&StaticValues::PARAM_GENDER, profiled<&ProfileManager::getGender>},
    {&StaticValues::PARAM_AGE, profiled<&ProfileManager::getAge>},
    {&StaticValues::PARAM_UVP1, profiled<&ProfileManager::getUvp1>},
    {&StaticValues::PARAM_UVP2, profiled<&ProfileManager::getUvp2>},
    {&StaticValues::PARAM_UVP3, profiled<&ProfileManager::getUvp3>},
    {&StaticValues::PARAM_UVP4, profiled<&ProfileManager::getUvp4>},
    {&StaticValues::PARAM_UVP5, profiled<&ProfileManager::getUvp5>},
    {&StaticValues::PARAM_USER_ID, profiled<&ProfileManager::getUserId>},
    {&StaticValues::PARAM_LTRVNC, profiled<&ProfileManager::getLtrvnc>},
    {&StaticValues::PARAM_LTRVNI, profiled<&ProfileManager::getLtrvni>},
    {&StaticValues::PARAM_UD_RVNC, profiled<&ProfileManager::getUdRvnc>},
    {&StaticValues::PARAM_PDTK, sessionString<&StaticValues::PARAM_PDTK>},
};

constexpr SectionRow initRows[] = {
    {&StaticValues::PARAM_MVT1, sessionString<&StaticValues::PARAM_MVT1>},
    {&StaticValues::PARAM_MVT2, sessionString<&StaticValues::PARAM_MVT2>},
    {&StaticValues::PARAM_MVT3, sessionString<&StaticValues::PARAM_MVT3>},
};

}  // namespace

Dictionary DocumentManager::putSessionDBDefault(Dictionary session) {
    insertRows(session, counterRows);
    return session;
}

Dictionary DocumentManager::putSessionProfile(Dictionary session) {
    insertRows(session, profileRows);
    return session;
}

Dictionary DocumentManager::putSessionInitData(Dictionary session) {
    insertRows(session, initRows);
    return session;
}

}  // namespace harvelstone
