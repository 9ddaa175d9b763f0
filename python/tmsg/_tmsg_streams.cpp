#include <mutex>
#include <vector>

#include "_tmsg.h"

namespace {

/// The chunks of one message, as an iterator.
class Chunks {
public:
    Chunks(std::unique_ptr<Message> message, unsigned int seq_no, unsigned char port,
           int chunk_size)
        : message_(std::move(message)), source_(*message_, seq_no, port, chunk_size) {}

    py::bytes next() {
        unsigned char const* chunk = nullptr;
        std::size_t size = 0;
        if (!source_.next(chunk, size)) throw py::stop_iteration();
        return py::bytes(reinterpret_cast<char const*>(chunk), size);
    }

private:
    std::unique_ptr<Message> message_;
    Tm_chunk_source source_;
};

/// The receiver of one stream. Several threads may use it, one after another.
class Chunk_receiver {
public:
    explicit Chunk_receiver(Tm_limits const& limits)
        : receiver_([this](std::unique_ptr<Message> message, int,
                           Tm_header const&) { messages_.push_back(std::move(message)); },
                    [this](int, unsigned int seq_no, std::string const& text) {
                        errors_.emplace_back(seq_no, text);
                    },
                    limits) {}
    Chunk_receiver(Chunk_receiver const&) = delete;
    Chunk_receiver& operator=(Chunk_receiver const&) = delete;
    ~Chunk_receiver() { receiver_.forget(stream); }

    py::tuple receive(py::handle data) {
        Bytes_view const bytes(data);
        return run(bytes.is_worth_releasing(),
                   [&] { receiver_.receive(stream, bytes.data(), bytes.size()); });
    }
    py::tuple finish() {
        return run(true, [&] { receiver_.finish(stream); });
    }

private:
    using Messages = std::vector<std::unique_ptr<Message>>;
    using Errors = std::vector<std::pair<unsigned int, std::string>>;

    static constexpr int stream = 0;

    /// Returns the messages and the errors that the operation brings.
    template <class Operation>
    py::tuple run(bool is_long, Operation operation) {
        Messages messages;
        Errors errors;
        {
            std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
            // Whoever has the lock may need the GIL.
            if (!lock) without_gil(true, [&] { lock.lock(); });
            without_gil(is_long, operation);
            messages.swap(messages_);
            errors.swap(errors_);
        }
        return py::make_tuple(list_of(messages), list_of(errors));
    }

    /// When a message cannot be converted, nobody gets any of them. Then the files of all messages
    /// are removed, also those that have an owner in Python already.
    static py::list list_of(Messages const& messages) {
        py::list made;
        try {
            for (auto const& message : messages) made.append(to_python(*message));
        } catch (...) {
            for (auto const& message : messages) tm_remove_received_files(*message);
            throw;
        }
        return made;
    }

    static py::list list_of(Errors const& errors) {
        py::list made;
        for (auto const& [seq_no, text] : errors) {
            made.append(py::make_tuple(seq_no, to_str(text)));
        }
        return made;
    }

    std::mutex mutex_;
    Messages messages_;
    Errors errors_;
    Tm_chunk_receiver receiver_;
};

}  // namespace

void bind_streams(py::module_& module) {
    py::class_<Chunks>(module, "Chunks")
        .def(py::init([](py::handle message, unsigned int seq_no, unsigned char port,
                         int chunk_size, bool by_index, unsigned int max_depth) {
                 auto made = to_message(message, max_depth);
                 if (by_index) made->index_member_names();
                 return std::make_unique<Chunks>(std::move(made), seq_no, port, chunk_size);
             }),
             py::arg("message"), py::arg("seq_no") = 0, py::kw_only(), py::arg("port") = 0,
             py::arg("chunk_size") = 16384, py::arg("by_index") = false,
             py::arg("max_depth") = usual_depth)
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &Chunks::next);
    py::class_<Chunk_receiver>(module, "ChunkReceiver")
        .def(py::init([](py::kwargs const& limits) {
            return std::make_unique<Chunk_receiver>(limits_from(limits));
        }))
        .def("receive", &Chunk_receiver::receive, py::arg("data"))
        .def("finish", &Chunk_receiver::finish);
}
