-- Tables of the configuration database that an appliance shares with its children. Run with
-- psql -v version=VERSION -f database.sql by the owner of the database; can be repeated.
CREATE TABLE IF NOT EXISTS tb_global_setting (
  section text NOT NULL,
  name text NOT NULL,
  value text NOT NULL,
  notes text,
  PRIMARY KEY (section, name)
);
-- Databases made by older versions have none.
ALTER TABLE tb_global_setting ADD COLUMN IF NOT EXISTS notes text;
CREATE TABLE IF NOT EXISTS tb_child (
  guid uuid PRIMARY KEY,
  hostname text NOT NULL,
  address text NOT NULL,
  version text NOT NULL,
  registered timestamptz NOT NULL
);
INSERT INTO tb_global_setting (section, name, value) VALUES ('general', 'version', :'version')
  ON CONFLICT (section, name) DO UPDATE SET value = excluded.value;
