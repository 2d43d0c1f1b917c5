#include "XRFPAdmission.h"

void XRFPAdmission::SetLimits(const tagXRFPAdmissionLimits& limitsNew)
{
    std::lock_guard<std::mutex> guard(lock);
    limits = limitsNew;
}

XRFPAdmit XRFPAdmission::Admit(const std::string& strAddress)
{
    std::lock_guard<std::mutex> guard(lock);
    size_t& nOfAddress = mapAddresses[strAddress];
    if (nOfAddress >= limits.nMaxPerAddress) {
        if (nOfAddress == 0)
            mapAddresses.erase(strAddress);
        return XRFP_ADMIT_ADDRESS_FULL;
    }
    if (nPending >= limits.nMaxUnauthenticated) {
        if (nOfAddress == 0)
            mapAddresses.erase(strAddress);
        return XRFP_ADMIT_PENDING_FULL;
    }
    ++nOfAddress;
    ++nPending;
    return XRFP_ADMIT_OK;
}

bool XRFPAdmission::HasRoom()
{
    std::lock_guard<std::mutex> guard(lock);
    return nLoggedIn < limits.nMaxConnections;
}

bool XRFPAdmission::LogIn()
{
    std::lock_guard<std::mutex> guard(lock);
    if (nLoggedIn >= limits.nMaxConnections)
        return false;
    --nPending;
    ++nLoggedIn;
    return true;
}

void XRFPAdmission::Leave(const std::string& strAddress, bool bLoggedIn)
{
    std::lock_guard<std::mutex> guard(lock);
    --(bLoggedIn ? nLoggedIn : nPending);
    auto it = mapAddresses.find(strAddress);
    if (it != mapAddresses.end() && --it->second == 0)
        mapAddresses.erase(it);
}

size_t XRFPAdmission::LoggedIn()
{
    std::lock_guard<std::mutex> guard(lock);
    return nLoggedIn;
}

size_t XRFPAdmission::Pending()
{
    std::lock_guard<std::mutex> guard(lock);
    return nPending;
}
