"""harvelstone for Python, by ctypes over the C face: how a host in another language binds it.

    import harvelstone

    harvelstone.configure(target_uri="https://collect.example.com/documents", app_key="shop", documents_folder="data")
    harvelstone.start_visit()
    harvelstone.page("home", {"section": "women"})
    print(harvelstone.flush(seconds=10))

The shared library is looked for under the name in HARVELSTONE_LIBRARY, else where the system looks. An operation that
is refused raises Error.
"""

import ctypes
import json
import os
import sys
from ctypes import POINTER, c_bool, c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint64, c_void_p

_library = ctypes.CDLL(os.environ.get("HARVELSTONE_LIBRARY", "libharvelstone.so.0"))

OK, INVALID_ARGUMENT, OUT_OF_MEMORY, FAILED = range(4)
LOG_PLATFORM, LOG_DEBUG = range(2)
MAIN_QUEUE_OWN_THREAD, MAIN_QUEUE_PUMPED = range(2)
_UNSET, _NO, _YES = range(3)


class Error(Exception):
    """An operation failed; `status` says in which way."""

    def __init__(self, status, reason):
        super().__init__(reason)
        self.status = status


class _Header(ctypes.Structure):
    _fields_ = [("name", c_char_p), ("value", c_char_p)]


class _Request(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("url", c_char_p),
        ("method", c_char_p),
        ("headers", POINTER(_Header)),
        ("header_count", c_size_t),
        ("body", c_void_p),
        ("body_size", c_size_t),
    ]


_LogCallback = ctypes.CFUNCTYPE(None, c_int32, c_char_p, c_void_p)
_MainQueueCallback = ctypes.CFUNCTYPE(None, c_uint64, c_double, c_void_p)
_HttpCallback = ctypes.CFUNCTYPE(None, POINTER(_Request), c_uint64, c_void_p)


class _Options(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("target_uri", c_char_p),
        ("certificate_authorities", c_char_p),
        ("app_key", c_char_p),
        ("app_version", c_char_p),
        ("advertising_id", c_char_p),
        ("vendor_id", c_char_p),
        ("user_id", c_char_p),
        ("imei", c_char_p),
        ("documents_folder", c_char_p),
        ("return_visit_days", POINTER(c_int64)),
        ("visit_timeout_seconds", c_int64),
        ("advertising_id_allowed", c_int32),
        ("consent", c_int32),
        ("debug", c_int32),
        ("main_queue", c_int32),
        ("log", _LogCallback),
        ("log_user_data", c_void_p),
        ("run_on_main_queue", _MainQueueCallback),
        ("main_queue_user_data", c_void_p),
        ("send_request", _HttpCallback),
        ("http_user_data", c_void_p),
    ]


# What each function takes. All but those of _OTHERS give back a status.
_PARAMETERS = {
    "run_task": [c_uint64],
    "drop_task": [c_uint64],
    "http_answer": [c_uint64, c_int32, c_char_p, c_size_t],
    "http_fail": [c_uint64, c_char_p],
    "configure": [POINTER(_Options)],
    "set_profile": [c_char_p],
    "set_consent": [c_bool],
    "start_visit": [],
    "end_visit": [],
    "app_opened": [],
    "refresh_document": [],
    "page": [c_char_p, c_char_p],
    "page_record": [c_char_p],
    "page_progress": [c_double, c_int64],
    "click": [c_char_p],
    "revenue": [c_char_p],
    "push_opened": [c_char_p],
    "set_product": [c_char_p, c_char_p],
    "set_product_category": [c_char_p, c_char_p],
    "goal": [c_int64, c_int64],
    "event": [c_char_p, c_char_p, c_char_p],
    "campaign": [c_char_p, c_char_p, c_char_p, c_char_p],
    "install_referrer": [c_char_p],
    "send": [],
    "send_click_immediately": [c_char_p],
    "send_goal_immediately": [c_char_p],
    "flush": [c_int64, POINTER(c_void_p)],
    "ledger": [POINTER(c_void_p)],
    "run_main_queue": [],
}
_OTHERS = {
    "last_error": ([], c_char_p),
    "version": ([], c_char_p),
    "version_number": ([], c_int32),
    "free_text": ([c_void_p], None),
}

for _name, _parameters in _PARAMETERS.items():
    _function = getattr(_library, "harvelstone_" + _name)
    _function.argtypes, _function.restype = _parameters, c_int32
for _name, (_parameters, _result) in _OTHERS.items():
    _function = getattr(_library, "harvelstone_" + _name)
    _function.argtypes, _function.restype = _parameters, _result


def _call(name, *arguments):
    status = getattr(_library, "harvelstone_" + name)(*arguments)
    if status != OK:
        raise Error(status, _library.harvelstone_last_error().decode("utf-8"))


def _text(text):
    return None if text is None else text.encode("utf-8")


def _json(value):
    return json.dumps(value).encode("ascii")


def _taken_json(name, *arguments):
    """Calls a function that makes a JSON text, and gives the text back."""
    made = c_void_p()
    _call(name, *arguments, ctypes.byref(made))
    try:
        return json.loads(ctypes.string_at(made))
    finally:
        _library.harvelstone_free_text(made)


# ---- The host's own log, main queue and client ----

_callbacks = []  # as long as the library, that is for ever


def _guarded(callback):
    """No exception leaves a callback."""

    def call(*arguments):
        try:
            callback(*arguments)
        except Exception as error:
            print(f"harvelstone: a callback failed: {error!r}", file=sys.stderr)

    return call


def _kept(kind, callback):
    _callbacks.append(kind(_guarded(callback)))
    return _callbacks[-1]


def _log_callback(log):
    return _kept(_LogCallback, lambda kind, line, _: log(kind, line.decode("utf-8", "replace")))


def _main_queue_callback(run_later):
    def plan(task, delay, _):
        run_later(delay, lambda: _call("run_task", task))

    return _kept(_MainQueueCallback, plan)


class Exchange:
    """A request to be sent by the host's client, which then calls `answer` or `fail`, on any thread."""

    def __init__(self, request, number):
        self.url = request.url.decode("utf-8")
        self.method = request.method.decode("ascii")
        headers = request.headers[: request.header_count]
        self.headers = {each.name.decode("ascii"): each.value.decode("ascii") for each in headers}
        self.body = ctypes.string_at(request.body, request.body_size)
        self._number = number

    def answer(self, status, body):
        _call("http_answer", self._number, status, body, len(body))

    def fail(self, reason):
        _call("http_fail", self._number, _text(reason))


def _http_callback(send_request):
    return _kept(_HttpCallback, lambda request, number, _: send_request(Exchange(request.contents, number)))


# ---- The operations ----

_TEXTS = {
    "target_uri", "certificate_authorities", "app_key", "app_version", "advertising_id", "vendor_id", "user_id", "imei",
    "documents_folder",
}
_CHOICES = {"advertising_id_allowed", "consent", "debug"}
_NUMBERS = {"visit_timeout_seconds", "main_queue"}
_CALLBACKS = {"log": _log_callback, "run_on_main_queue": _main_queue_callback, "send_request": _http_callback}


def configure(**settings):
    """Each setting by the name of its member in harvelstone_options. `log(kind, line)`, `run_on_main_queue(seconds,
    task)` and `send_request(exchange)` are functions of the host's."""
    options = _Options(size=ctypes.sizeof(_Options))
    for name, value in settings.items():
        if name in _TEXTS:
            setattr(options, name, _text(value))
        elif name in _CHOICES:
            setattr(options, name, _YES if value else _NO)
        elif name in _NUMBERS:
            setattr(options, name, value)
        elif name in _CALLBACKS:
            setattr(options, name, _CALLBACKS[name](value))
        elif name == "return_visit_days":
            options.return_visit_days = ctypes.pointer(c_int64(value))
        else:
            raise TypeError(f"there is no setting {name}")
    _call("configure", ctypes.byref(options))


def set_profile(values):
    _call("set_profile", _json(values))


def set_consent(granted):
    _call("set_consent", granted)


def start_visit():
    _call("start_visit")


def end_visit():
    _call("end_visit")


def app_opened():
    _call("app_opened")


def refresh_document():
    _call("refresh_document")


def page(name, details=None):
    _call("page", _text(name), _json(details or {}))


def page_record(record):
    _call("page_record", _json(record))


def page_progress(visit_seconds, page_views):
    _call("page_progress", visit_seconds, page_views)


def click(record):
    _call("click", _json(record))


def revenue(record):
    _call("revenue", _json(record))


def push_opened(record):
    _call("push_opened", _json(record))


def set_product(code, name=None):
    _call("set_product", _text(code), _text(name))


def set_product_category(code, name=None):
    _call("set_product_category", _text(code), _text(name))


def goal(number, value):
    _call("goal", number, value)


def event(kind, name, value):
    _call("event", _text(kind), _text(name), _json(value))


def campaign(kind, name, value, referrer):
    _call("campaign", _text(kind), _text(name), _json(value), _text(referrer))


def install_referrer(values=None):
    _call("install_referrer", _json(values or {}))


def send():
    _call("send")


def send_click_immediately(record):
    _call("send_click_immediately", _json(record))


def send_goal_immediately(record):
    _call("send_goal_immediately", _json(record))


def flush(seconds):
    """The receipt, as a dictionary."""
    return _taken_json("flush", int(seconds * 1000))


def ledger():
    return _taken_json("ledger")


def run_main_queue():
    _call("run_main_queue")


def version():
    return _library.harvelstone_version().decode("ascii")
