#pragma once

#include <libwexohelper/utils/exceptions.hpp>
#include <libwexohelper/utils/type_name.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <typeindex>
#include <unordered_map>

namespace vantrel::kelvane::libwexohelper::utils {

// Type-erased entry of the factory store; factory_wrapper<F> holds the callable.
class factory_wrapper_base {
public:
    virtual ~factory_wrapper_base() = default;
};

template <class F> class factory_wrapper final : public factory_wrapper_base {
public:
    explicit factory_wrapper(F factory) : factory_(std::move(factory)) {}
    const F& factory() const noexcept { return factory_; }

private:
    F factory_;
};

// Type-erased entry of the instance store; instance_wrapper<T> holds the shared T.
class instance_wrapper_base {
public:
    virtual ~instance_wrapper_base() = default;
};

template <class T> class instance_wrapper final : public instance_wrapper_base {
public:
    explicit instance_wrapper(std::shared_ptr<T> instance) : instance_(std::move(instance)) {}
    const std::shared_ptr<T>& instance() const noexcept { return instance_; }

private:
    std::shared_ptr<T> instance_;
};

// Type-keyed store of factories: each entry holds one callable of the keyed type.
class factory_store {
public:
    // Throws already_contains_factory when F already has an entry.
    template <class F> void add(F factory) {
        if (!entries_.emplace(std::type_index(typeid(F)), std::make_unique<factory_wrapper<F>>(std::move(factory)))
                 .second) {
            throw exceptions::already_contains_factory(type_name(typeid(F)));
        }
    }
    // Throws factory_not_available when F has no entry.
    template <class F> const F& get() const {
        const auto it = entries_.find(std::type_index(typeid(F)));
        if (it == entries_.end()) {
            throw exceptions::factory_not_available(type_name(typeid(F)));
        }
        // The key is F's type, so the entry is a factory_wrapper<F>.
        return static_cast<const factory_wrapper<F>&>(*it->second).factory();
    }
    template <class F> bool contains() const { return entries_.contains(std::type_index(typeid(F))); }

private:
    std::unordered_map<std::type_index, std::unique_ptr<factory_wrapper_base>> entries_;
};

// Type-keyed store of single shared instances.
class instance_store {
public:
    // Throws already_contains_instance when T already has an entry.
    template <class T> void add(std::shared_ptr<T> instance) {
        if (!entries_.emplace(std::type_index(typeid(T)), std::make_unique<instance_wrapper<T>>(std::move(instance)))
                 .second) {
            throw exceptions::already_contains_instance(type_name(typeid(T)));
        }
    }
    // Null when T has no instance.
    template <class T> std::shared_ptr<T> find() const {
        const auto it = entries_.find(std::type_index(typeid(T)));
        return it == entries_.end() ? nullptr : static_cast<const instance_wrapper<T>&>(*it->second).instance();
    }

private:
    std::unordered_map<std::type_index, std::unique_ptr<instance_wrapper_base>> entries_;
};

// One per module: the factories and single instances through which sensors,
// checks and the frame find shared services (logs, message service, DNS client
// factory). All operations are thread-safe under one recursive lock, so that a
// factory may itself ask the container for what it needs.
class service_container {
public:
    // The factory through which get_instance<T> makes T on first request.
    template <class T> using instance_factory = std::function<std::shared_ptr<T>()>;

    // Registers a callable under its own type. Throws already_contains_factory.
    template <class F> void add_factory(F factory) {
        std::lock_guard lock(mutex_);
        factories_.add<F>(std::move(factory));
    }

    // A copy of the callable registered under F. Throws factory_not_available.
    template <class F> F get_factory() const {
        std::lock_guard lock(mutex_);
        return factories_.get<F>();
    }

    template <class F> bool has_factory() const {
        std::lock_guard lock(mutex_);
        return factories_.contains<F>();
    }

    // Throws already_contains_instance.
    template <class T> void add_instance(std::shared_ptr<T> instance) {
        std::lock_guard lock(mutex_);
        instances_.add<T>(std::move(instance));
    }

    // The single T; made with the registered instance_factory<T> on first
    // request. Throws instance_not_available when there is neither an instance
    // nor a factory that makes one.
    template <class T> std::shared_ptr<T> get_instance() {
        std::lock_guard lock(mutex_);
        if (auto found = instances_.find<T>()) {
            return found;
        }
        if (factories_.contains<instance_factory<T>>()) {
            if (auto made = factories_.get<instance_factory<T>>()()) {
                instances_.add<T>(made);
                return made;
            }
        }
        throw exceptions::instance_not_available(type_name(typeid(T)));
    }

private:
    mutable std::recursive_mutex mutex_;
    factory_store factories_;
    instance_store instances_;
};

} // namespace vantrel::kelvane::libwexohelper::utils
