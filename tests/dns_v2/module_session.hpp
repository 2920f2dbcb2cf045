#pragma once

// A module loaded and initialised for one test.

#include "host_fixture.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace vantrel::kelvane::tests {

// The module is loaded once and never unloaded: loading it again in one
// process would register its wire contract with protobuf twice, and unloading
// it would leave protobuf holding descriptor tables that lived in the module
// (the leak checker reports them). Each test initialises and cleans it up.
inline loaded_module& shared_module() {
    static loaded_module* const instance = new loaded_module;
    return *instance;
}

class module_session : public ::testing::Test {
protected:
    void SetUp() override {
        message_log::instance().take();
        ASSERT_EQ(module.initialize(7, &message_log::callback), 0);
    }
    void TearDown() override {
        module.cleanup();
        message_log::instance().take();
    }

    std::vector<wire::Envelope> take_if(bool (wire::Envelope::*has)() const) {
        std::vector<wire::Envelope> out;
        for (auto& m : message_log::instance().take()) {
            if ((m.envelope.*has)()) {
                out.push_back(std::move(m.envelope));
            }
        }
        return out;
    }

    loaded_module& module = shared_module();
};

} // namespace vantrel::kelvane::tests
