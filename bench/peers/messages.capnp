@0xb3f1c2a4d5e69788;

interface Vision {
  ask @0 (message :Data) -> (reply :Data);
  take @1 (message :Data) -> ();
  push @2 (count :UInt32, sink :Sink) -> ();
  interface Sink {
    face @0 (event :Data) -> ();
  }
}
