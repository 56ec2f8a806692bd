"""A remote desktop made of GStreamer's own parts, as small as measuring needs: the screen as VP8 over
WebRTC, the pointer back through a data channel and XTEST.

Signalling is one JSON object a line. In come {"type": "visit"}, which ends the visit before it,
"answer" and "candidate"; out go "offer" and "candidate". READY comes first.
"""

import ctypes
import json
import sys
import threading

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstSdp", "1.0")
gi.require_version("GstWebRTC", "1.0")
from gi.repository import GLib, Gst, GstSdp, GstWebRTC  # noqa: E402

# Asking for damage costs ximagesrc more than the copy it saves: 134 instead of 83 % of a core with
# scrolling text. The encoder is set as the media library sets the host's. GStreamer estimates no
# bandwidth here, so its rate is fixed, to what the host takes for scrolling text on a free line.
PIPELINE = """
    ximagesrc show-pointer=true use-damage=false ! video/x-raw,framerate=30/1
    ! videoconvert ! video/x-raw,format=I420
    ! queue max-size-buffers=1 leaky=downstream
    ! vp8enc deadline=1 cpu-used=-6 threads=1 lag-in-frames=0 end-usage=cbr target-bitrate=5000000
        min-quantizer=12 max-quantizer=56 undershoot=100 overshoot=15 static-threshold=100
        buffer-initial-size=500 buffer-optimal-size=600 buffer-size=1000 keyframe-mode=disabled
    ! rtpvp8pay picture-id-mode=15-bit
    ! application/x-rtp,media=video,encoding-name=VP8,payload=96
    ! webrtcbin name=peer bundle-policy=max-bundle
"""
BUTTON = 1


class Pointer:
    """The desktop's pointer, moved by XTEST."""

    def __init__(self):
        self._x11 = ctypes.CDLL("libX11.so.6")
        self._xtest = ctypes.CDLL("libXtst.so.6")
        self._x11.XOpenDisplay.restype = ctypes.c_void_p
        self._display = ctypes.c_void_p(self._x11.XOpenDisplay(None))
        if not self._display:
            sys.exit("gstreamer.py: no X server")

    def follow(self, x, y, pressed=None):
        """Goes there; `pressed` changes the button, None leaves it."""
        self._xtest.XTestFakeMotionEvent(self._display, -1, x, y, 0)
        if pressed is not None:
            self._xtest.XTestFakeButtonEvent(self._display, BUTTON, int(pressed), 0)
        self._x11.XFlush(self._display)


class Visit:
    """One viewer, from the offer to `end`."""

    def __init__(self, pointer, send):
        self._pointer = pointer
        self._send = send
        self._pipeline = Gst.parse_launch(PIPELINE)
        bus = self._pipeline.get_bus()
        bus.add_signal_watch()
        bus.connect("message::error", self._failed)
        self._peer = self._pipeline.get_by_name("peer")
        self._peer.connect("on-negotiation-needed", self._offer)
        self._peer.connect("on-ice-candidate", self._candidate)
        self._pipeline.set_state(Gst.State.READY)  # before that there is nothing to hang a channel on
        self._channel = self._peer.emit("create-data-channel", "input", None)
        self._channel.connect("on-message-string", self._input)
        self._pipeline.set_state(Gst.State.PLAYING)

    def end(self):
        self._pipeline.get_bus().remove_signal_watch()
        self._pipeline.set_state(Gst.State.NULL)

    def answer(self, sdp):
        _, message = GstSdp.SDPMessage.new_from_text(sdp)
        description = GstWebRTC.WebRTCSessionDescription.new(
            GstWebRTC.WebRTCSDPType.ANSWER, message)
        self._peer.emit("set-remote-description", description, None)

    def candidate(self, line, text):
        self._peer.emit("add-ice-candidate", line, text)

    def _offer(self, peer):
        peer.emit("create-offer", None, Gst.Promise.new_with_change_func(self._offered))

    def _offered(self, promise):
        reply = promise.get_reply()  # the offer lives in it
        offer = reply.get_value("offer")
        self._peer.emit("set-local-description", offer, None)
        self._send({"type": "offer", "sdp": offer.sdp.as_text()})

    def _candidate(self, _, line, text):
        self._send({"type": "candidate", "line": line, "text": text})

    def _failed(self, _, message):
        # A viewer that goes is an error too, of its data channel.
        print(f"gstreamer.py: the visit is over: {message.parse_error()}", file=sys.stderr)
        self.end()

    def _input(self, _, text):
        self._pointer.follow(**json.loads(text))


class Service:
    """Takes one viewer after the other."""

    def __init__(self):
        self._pointer = Pointer()
        self._visit = None

    def hear(self, line):
        message = json.loads(line)
        kind = message["type"]
        if kind == "visit":
            if self._visit:
                self._visit.end()
            self._visit = Visit(self._pointer, say)
        elif kind == "answer":
            self._visit.answer(message["sdp"])
        elif kind == "candidate":
            self._visit.candidate(message["line"], message["text"])


def say(message):
    # The library calls from threads of its own; whole lines come from this one alone.
    GLib.idle_add(lambda: print(json.dumps(message), flush=True))


def listen(service):
    for line in sys.stdin:
        GLib.idle_add(lambda text=line: service.hear(text))
    GLib.idle_add(loop.quit)


Gst.init(None)
loop = GLib.MainLoop()
threading.Thread(target=listen, args=(Service(),), daemon=True).start()
print("READY", flush=True)
loop.run()
