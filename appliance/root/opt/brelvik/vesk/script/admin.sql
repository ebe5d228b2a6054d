-- Tables of the administration database. For SQLite and PostgreSQL alike; can be repeated:
--   sqlite3 data/admin.db <script/admin.sql
CREATE TABLE IF NOT EXISTS tb_global_setting (
  section text NOT NULL,
  name text NOT NULL,
  value text,
  notes text,
  PRIMARY KEY (section, name)
);
