// The Python module's native half: numpy arrays to and from tumblewash.h, with Python's lock released while
// pictures are made. What users call is in tumblewash/__init__.py.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "capi/tumblewash.h"

namespace py = pybind11;

namespace {

using Pixels = py::array_t<std::uint8_t>;

/// The last error as the Python exception that fits it.
[[noreturn]] void raise(tw_status status) {
    std::string words = tw_last_error();
    const std::string flag = "; pass TW_REPLACE to ";
    if (const auto at = words.rfind(flag); at != std::string::npos)
        words.replace(at, flag.size(), "; pass replace=True to ");
    PyObject* kind = PyExc_RuntimeError;
    if (status == TW_BAD_ARGUMENT) kind = PyExc_ValueError;
    if (status == TW_BAD_INPUT || status == TW_BAD_OUTPUT) kind = PyExc_OSError;
    if (status == TW_NO_MEMORY) kind = PyExc_MemoryError;
    if (status == TW_CANCELLED) kind = PyExc_InterruptedError;
    PyErr_SetString(kind, words.c_str());
    throw py::error_already_set();
}

tw_direction directionNamed(const std::string& name) {
    if (name == "right") return TW_RIGHT;
    if (name == "left") return TW_LEFT;
    if (name == "up") return TW_UP;
    if (name == "down") return TW_DOWN;
    throw py::value_error("unknown direction '" + name + "'; use right, left, up or down");
}

tw_alpha alphaNamed(const std::string& name) {
    if (name == "straight") return TW_STRAIGHT;
    if (name == "premultiplied") return TW_PREMULTIPLIED;
    throw py::value_error("unknown alpha '" + name + "'; use straight or premultiplied");
}

/// A text as C reads it; one with a zero character is another text there.
const char* wholeText(const std::string& text, const char* what) {
    if (text.find('\0') != std::string::npos)
        throw py::value_error(std::string(what) + " holds a zero character");
    return text.c_str();
}

/// Bytes from one row to the next; of a single row numpy's number means nothing.
py::ssize_t strideOf(const py::array& array) {
    return array.shape(0) > 1 ? array.strides(0) : array.shape(1) * array.shape(2);
}

/// What of an array a picture needs: pixels side by side, rows anywhere but not over each other.
bool rowsFit(const py::array& array) {
    const auto channels = array.shape(2);
    return array.strides(2) == 1 && (array.strides(1) == channels || array.shape(1) == 1) &&
           std::abs(strideOf(array)) >= array.shape(1) * channels;
}

/// The array that was given, if it is one and a picture.
py::array checked(const py::object& given, const char* what) {
    if (!py::isinstance<py::array>(given))
        throw py::type_error(std::string(what) + " must be a numpy array of uint8");
    const auto array = py::reinterpret_borrow<py::array>(given);
    const bool good = array.ndim() == 3 && (array.shape(2) == 3 || array.shape(2) == 4) &&
                      array.shape(0) > 0 && array.shape(1) > 0 && array.shape(0) <= INT32_MAX &&
                      array.shape(1) <= INT32_MAX;
    if (!good)
        throw py::value_error(std::string(what) +
                              " must be an array of height x width x 3 (RGB) or 4 (RGBA) bytes");
    if (!py::isinstance<Pixels>(array)) throw py::type_error(std::string(what) + " must hold uint8");
    return array;
}

/// An array as a picture to read: itself where its pixels lie side by side, else a copy, which `kept` holds.
tw_picture pictureOf(const py::object& given, const char* what, tw_alpha alpha, py::object& kept) {
    py::array used = checked(given, what);
    if (!rowsFit(used)) used = py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>(used);
    kept = used;
    const bool four = used.shape(2) == 4;
    return {static_cast<const std::uint8_t*>(used.data()),
            strideOf(used),
            static_cast<int>(used.shape(1)),
            static_cast<int>(used.shape(0)),
            four ? TW_RGBA : TW_RGB,
            four ? alpha : TW_OPAQUE};
}

/// An effect with its knobs, kept.
class Effect {
  public:
    Effect(const std::string& id, const std::string& direction, std::uint32_t seed, int threads) : id_(id) {
        const tw_knobs knobs = {directionNamed(direction), seed};
        tw_effect_info info;
        if (const tw_status status = tw_effect_find(wholeText(id, "the effect's name"), &info);
            status != TW_OK)
            raise(status);
        clips_ = info.clips;
        effect_.reset(tw_effect_new(id.c_str(), &knobs));
        if (effect_ == nullptr) raise(TW_NO_MEMORY);
        if (const tw_status status = tw_effect_set_threads(effect_.get(), threads); status != TW_OK)
            raise(status);
    }

    py::array render(const py::object& first, const py::object& second, const py::object& position,
                     const py::object& out, const std::string& alpha) const {
        const tw_alpha kind = alphaNamed(alpha);
        const double moment = PyFloat_AsDouble(position.ptr());
        if (PyErr_Occurred() != nullptr) throw py::error_already_set();
        if (clips_ == 2 && second.is_none())
            throw py::value_error(id_ + " takes two pictures; the second is missing");
        py::object keptFirst, keptSecond;
        const tw_picture a = pictureOf(first, "the first picture", kind, keptFirst);
        tw_picture b{};
        if (clips_ == 2) b = pictureOf(second, "the second picture", kind, keptSecond);
        py::array result = out.is_none() ? newResult(a, b) : checked(out, "out");
        if (!result.writeable()) throw py::value_error("out is read-only");
        if (!rowsFit(result))
            throw py::value_error("the pixels of out must lie side by side, in rows that do not overlap");
        if (!out.is_none())
            for (const py::object& picture : {keptFirst, keptSecond})
                if (picture && sharesMemory(picture, out))
                    throw py::value_error("out shares memory with a picture");
        for (const tw_picture& picture : {a, b}) {
            if (picture.pixels == nullptr) continue;
            if (picture.width != result.shape(1) || picture.height != result.shape(0))
                throw py::value_error("the pictures and out differ in size; scale them first");
        }
        const bool four = result.shape(2) == 4;
        const tw_target target = {static_cast<std::uint8_t*>(result.mutable_data()),
                                  strideOf(result),
                                  static_cast<int>(result.shape(1)),
                                  static_cast<int>(result.shape(0)),
                                  four ? TW_RGBA : TW_RGB,
                                  four ? kind : TW_OPAQUE};
        tw_status status = TW_OK;
        {
            const py::gil_scoped_release released;
            status = tw_effect_render(effect_.get(), moment, &a, clips_ == 2 ? &b : nullptr, &target);
        }
        if (status != TW_OK) raise(status);
        return result;
    }

    const std::string& id() const { return id_; }

  private:
    struct Free {
        void operator()(tw_effect* effect) const noexcept { tw_effect_free(effect); }
    };

    /// RGB where all that goes in is RGB and nothing is uncovered, else RGBA.
    py::array newResult(const tw_picture& a, const tw_picture& b) const {
        const bool opaque = clips_ == 2 && a.format == TW_RGB && b.format == TW_RGB;
        return Pixels({a.height, a.width, opaque ? 3 : 4});
    }

    static bool sharesMemory(const py::object& picture, const py::object& out) {
        return py::module_::import("numpy").attr("shares_memory")(picture, out).cast<bool>();
    }

    std::string id_;
    int clips_ = 0;
    std::unique_ptr<tw_effect, Free> effect_;
};

py::list effects() {
    py::list all;
    tw_effect_info info;
    for (int i = 0; tw_effect_at(i, &info) == TW_OK; ++i) {
        py::dict one;
        one["id"] = info.id;
        one["name"] = info.name;
        one["sentence"] = info.sentence;
        one["clips"] = info.clips;
        one["arrives"] = info.arrives != 0;
        one["has_knobs"] = info.has_knobs != 0;
        one["reveals"] = info.reveals != 0;
        all.append(one);
    }
    return all;
}

/// Hands progress on to Python; an exception there, Ctrl-C among them, ends the work.
struct Listener {
    const py::object& told;
    std::exception_ptr thrown;

    /// Python's False or numpy's; None and numbers are no answer.
    static bool isFalse(const py::object& answer) {
        if (!PyBool_Check(answer.ptr()) &&
            !py::isinstance(answer, py::module_::import("numpy").attr("bool_")))
            return false;
        return PyObject_IsTrue(answer.ptr()) == 0;
    }

    static int tell(void* user, std::int64_t done, std::int64_t total) {
        auto& self = *static_cast<Listener*>(user);
        const py::gil_scoped_acquire held;
        try {
            if (PyErr_CheckSignals() != 0) throw py::error_already_set();
            if (self.told.is_none()) return 0;
            return isFalse(self.told(done, total)) ? 1 : 0;
        } catch (...) {
            self.thrown = std::current_exception();
            return 1;
        }
    }
};

void renderEdit(const std::string& json, const std::string& folder, const std::string& output, bool replace,
                const py::object& progress) {
    const char* edit = wholeText(json, "the edit");
    const char* start = wholeText(folder, "the folder's name");
    const char* made = wholeText(output, "the output's name");
    Listener listener{progress, nullptr};
    tw_status status = TW_OK;
    {
        const py::gil_scoped_release released;
        status = tw_render_edit(edit, start, made, replace ? TW_REPLACE : 0, Listener::tell, &listener);
    }
    if (listener.thrown) std::rethrow_exception(listener.thrown);
    if (status != TW_OK) raise(status);
}

}  // namespace

PYBIND11_MODULE(_native, m) {
    m.doc() = "The native half of tumblewash.";
    m.attr("version") = tw_version_string();
    m.def("effects", &effects);
    m.def("render_edit", &renderEdit, py::arg("json"), py::arg("folder"), py::arg("output"),
          py::arg("replace"), py::arg("progress"));
    py::class_<Effect>(m, "Effect")
        .def(py::init<const std::string&, const std::string&, std::uint32_t, int>(), py::arg("id"),
             py::arg("direction") = "right", py::arg("seed") = 1, py::arg("threads") = 1)
        .def("render", &Effect::render, py::arg("first"), py::arg("second"), py::arg("position"),
             py::arg("out") = py::none(), py::arg("alpha") = "straight")
        .def_property_readonly("id", &Effect::id);
}
