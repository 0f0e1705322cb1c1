// SPDX-License-Identifier: MIT
#include "tests/linux/mock_machine.h"

#include <umockdev.h>

#include <stdexcept>
#include <vector>

namespace tests {

namespace {

UMockdevIoctlData *as_data(void *data) { return static_cast<UMockdevIoctlData *>(data); }

[[noreturn]] void fail(GError *error) {
    const std::string message = error->message;
    g_error_free(error);
    throw std::runtime_error(message);
}

gboolean handle(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer opaque) {
    auto *node = static_cast<MockNode *>(opaque);
    const IoctlMemory argument(g_object_ref(umockdev_ioctl_client_get_arg(client)));
    const long result = node->ioctl(umockdev_ioctl_client_get_request(client), argument);
    umockdev_ioctl_client_complete(client, result < 0 ? -1 : result,
                                   result < 0 ? static_cast<int>(-result) : 0);
    return TRUE;
}

}  // namespace

IoctlMemory::~IoctlMemory() {
    if (data_ != nullptr) {
        umockdev_ioctl_data_unref(as_data(data_));
    }
}

IoctlMemory IoctlMemory::behind(std::size_t offset, std::size_t length) const {
    GError *error = nullptr;
    UMockdevIoctlData *data = umockdev_ioctl_data_resolve(as_data(data_), offset, length, &error);
    if (error != nullptr) {
        fail(error);
    }
    return IoctlMemory(data);
}

unsigned char *IoctlMemory::bytes() const { return as_data(data_)->data; }

struct MockMachine::Parts {
    UMockdevTestbed *testbed = umockdev_testbed_new();
    std::vector<UMockdevIoctlBase *> handlers;
    std::vector<std::string> nodes;
};

MockMachine::MockMachine() : parts_(std::make_unique<Parts>()) {}

MockMachine::~MockMachine() {
    for (const std::string &node : parts_->nodes) {
        umockdev_testbed_detach_ioctl(parts_->testbed, node.c_str(), nullptr);
    }
    for (UMockdevIoctlBase *handler : parts_->handlers) {
        g_object_unref(handler);
    }
    g_object_unref(parts_->testbed);
}

bool MockMachine::in_force() { return umockdev_in_mock_environment() != FALSE; }

void MockMachine::add(const std::string &subsystem, const std::string &name, unsigned major,
                      unsigned minor, MockNode &node, const std::string &attributes) {
    const std::string dev = "/dev/" + name;
    // As the kernel writes it, with a line end, which users of the file count on.
    const std::string numbers = std::to_string(major) + ":" + std::to_string(minor) + "\\n";
    const std::string device = "P: /devices/mock/" + name + "\nN: " + name + "\nE: DEVNAME=" + dev +
                               "\nE: SUBSYSTEM=" + subsystem + "\nA: dev=" + numbers + "\n" +
                               attributes + "\n";
    GError *error = nullptr;
    umockdev_testbed_add_from_string(parts_->testbed, device.c_str(), &error);
    if (error != nullptr) {
        fail(error);
    }
    UMockdevIoctlBase *handler = umockdev_ioctl_base_new();
    parts_->handlers.push_back(handler);
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(handle), &node);
    umockdev_testbed_attach_ioctl(parts_->testbed, dev.c_str(), handler, &error);
    if (error != nullptr) {
        fail(error);
    }
    parts_->nodes.push_back(dev);
}

}  // namespace tests
